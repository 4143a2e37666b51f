#ifndef VELLXML_TESTS_GENERATORS_GENERATED_CHECK_H
#define VELLXML_TESTS_GENERATORS_GENERATED_CHECK_H

// Checks every generated output of a chip with the real tools: the C headers compiled together for 32- and
// 64-bit targets with every warning that matters, into a program that checks each structure's size and
// member offsets and each base address against the model and uses every macro; the root header including
// exactly the headers of the archives the loader loaded; both assembly flavours assembled, their register
// addresses read back and compared with the model's; every VHDL package analysed with no warning.

#include <QString>
#include <QStringList>

#include <cstdint>

namespace gencheck {

struct Settings {
    unsigned int bitfieldGen = 3;
    bool ignoreReserved = false;
    bool forceMaskShift = true;
};

/// The tools the checks run.
struct Tools {
    QString cc;
    QString objcopy;
    QString ghdl;
};

/// Loads the chip, writes its outputs under workDir and checks them. Returns the failures, each a
/// readable text with the tool's output; empty when every check passed.
QStringList checkGeneratedFiles(
    const QString& rootFile, const QString& workDir, const Tools& tools, const Settings& settings = {});

/// Writes a random valid chip description for the seed into directory; returns its root file. The same
/// seed writes the same files.
QString writeRandomChip(const QString& directory, std::uint64_t seed);

} // namespace gencheck

#endif
