#ifndef VELLXML_SVD_SVD_EXPORT_H
#define VELLXML_SVD_SVD_EXPORT_H

#include <vellxml/vellxml_export.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

class HwMemoryMap;

/// What a CMSIS-SVD export may choose; the defaults suit a chip description as the loader made it.
struct HwSvdExportOptions {
    /// The device's name; empty takes the root file's base name. Made an identifier either way.
    QString deviceName;
    /// The device description's version, which the model does not hold.
    QString version = QStringLiteral("1.0");
};

/// The outcome of a CMSIS-SVD export: success, or the reason nothing was written; and in both cases what
/// the model holds that the file leaves out or writes differently, one "PATH: TEXT" line each (PATH the
/// element's path, or the instance name for what has none).
struct HwSvdExportResult {
    bool ok = false;
    QString error;
    QStringList warnings;

    explicit operator bool() const { return ok; }
};

/// Builds the CMSIS-SVD 1.3 document of the chip loaded in `map` into `document`: one peripheral per
/// instance at its address, structures as clusters, arrays as `dim` elements, registers and integers
/// with their size, access and reset, bitfields with their bit range, access, write side effects and
/// options as enumerated values, comments as descriptions. docs/svd.md gives the whole mapping. Fails
/// only when no chip is loaded or it has no instance to export.
VELLXML_EXPORT HwSvdExportResult svdExportDocument(
    const HwMemoryMap& map, QByteArray& document, const HwSvdExportOptions& options = {});

/// Exports the chip loaded in `map` to the file `path`, written whole or not at all.
VELLXML_EXPORT HwSvdExportResult svdExportFile(
    const HwMemoryMap& map, const QString& path, const HwSvdExportOptions& options = {});

/// The name as an SVD identifier: every character other than an ASCII letter, digit or '_' becomes '_',
/// and '_' goes in front of a name that is empty or starts with a digit.
VELLXML_EXPORT QString svdIdentifier(const QString& name);

#endif
