#ifndef VELLXML_TESTS_SVD_DIGEST_H
#define VELLXML_TESTS_SVD_DIGEST_H

// Canonical digests of a register map, for comparing two descriptions of one chip. One line per register
// and per field, sorted:
//
//   PATH ADDRESS size=BITS access=ACCESS reset=VALUE/MASK          a register (reset "-" when no field has
//   one) PATH ADDRESS bits=UP:DOWN access=ACCESS reset=VALUE options=N=V,...   a field (reset "-" when none)
//
// ACCESS is the model's text: "r" or "-", then "-" (read-only), "w", "s" (write one to set) or "c" (write
// one to clear); a register's is "r"/"-" then "w"/"-". A register's reset is the union of its fields'.

#include <QByteArray>
#include <QString>
#include <QStringList>

class HwRootArchive;

/// How the model's digest is taken.
enum class DigestNames {
    Model, ///< exactly as the model holds it
    /// As a CMSIS-SVD export can hold it: path names made SVD identifiers, arrays of arrays left out, access
    /// "--" (neither readable nor writable) read as "r-", and the fields and options that SVD cannot place
    /// (empty fields, fields beyond their register, option values wider than their field) left out.
    /// docs/svd.md lists these differences.
    Svd,
};

/// The digest of every register (every valuable: registers, integers, pointers) reachable from the
/// instances of a loaded chip, with their fields.
QStringList modelDigest(const HwRootArchive& root, DigestNames names);

/// The digest of a CMSIS-SVD document, read on its own: peripherals, nested clusters, dim arrays
/// ("[%s]" items and "%s" lists), size/access/resetValue/resetMask inherited from device, peripheral and
/// cluster, the three bit-range notations, modifiedWriteValues oneToSet/oneToClear, derivedFrom on
/// peripherals (not on clusters, registers or fields, which the export never writes). Paths are "$"
/// PERIPHERAL "." CLUSTER ... "." REGISTER. Returns false, with the reason in `error`, for a document it
/// cannot read.
bool svdDigest(const QByteArray& svd, QStringList& lines, QString& error);

#endif
