#ifndef VELLXML_SVD_SVD_MODEL_P_H
#define VELLXML_SVD_SVD_MODEL_P_H

// The SVD description once read: derivations resolved, properties inherited, arrays decided. The reader
// (svd_reader.cpp) builds it, the layout (svd_layout.cpp) writes it as archives.

#include <vellxml/svd/svd_arena_p.h>
#include <vellxml/svd/svd_document_p.h>
#include <vellxml/svd/svd_import.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <vector>

namespace vellxml::svd_p {

/// One named value of a field. A value with don't-care bits matches every value that differs from
/// `value` only under `dontCare`.
struct SvdEnumValue {
    QString name;
    QString description;
    std::uint64_t value = 0;
    std::uint64_t dontCare = 0;
    bool isDefault = false;
    QString usage;
};

struct SvdField {
    QString name;
    QString description;
    int lsb = 0;
    int msb = 0;
    /// The access attribute of our format: r, w, rw, rc, rs, -c, -s.
    QString access;
    bool hasReset = false;
    std::uint64_t reset = 0;
    SvdVector<SvdEnumValue> values;
};

struct SvdCluster;

struct SvdRegister {
    QString name;
    QString description;
    std::uint64_t offset = 0;
    int size = 32; ///< in bits: 8, 16 or 32
    bool readable = true;
    bool writable = true;
    SvdVector<SvdField> fields;
    int count = -1; ///< an array of registers of `size` bits each when >= 0
};

/// A register or a cluster, at an offset from its container's start.
struct SvdItem {
    std::unique_ptr<SvdRegister> reg;
    std::unique_ptr<SvdCluster> cluster;
    std::uint64_t offset() const;
};

struct SvdCluster {
    QString name;
    QString description;
    std::uint64_t offset = 0;
    std::vector<SvdItem> items;
    int count = -1; ///< an array of structures `stride` bytes apart when >= 0
    std::uint64_t stride = 0;
};

struct SvdPeripheral {
    QString name;
    QString description;
    QString group;
    QString typeName; ///< the module this peripheral is an instance of
    std::uint64_t base = 0;
    bool ownsType = false; ///< the type is written for this peripheral (others share it)
    std::vector<SvdItem> items;
};

struct SvdInterrupt {
    QString name;
    QString description;
    QString peripheral;
    std::int64_t value = 0;
};

struct SvdDevice {
    QString name;
    QString description;
    QStringList cpuLines; ///< the CPU data as text, for the root file's comment
    QList<QPair<QString, std::int64_t>> cpuValues; ///< numeric CPU data, written as variables
    std::vector<SvdPeripheral> peripherals;
    std::vector<SvdInterrupt> interrupts;
};

/// Where messages go: "PATH:LINE:COLUMN: SEVERITY: TEXT".
struct SvdMessages {
    QString path;
    HwMessageCallback error = nullptr;
    HwMessageCallback warning = nullptr;
    int warnings = 0;
    bool failed = false;
    void warn(int line, int column, const QString& text);
    void fail(int line, int column, const QString& text);
};

/// Reads the SVD text into `device`. False after an error (reported). The text is parsed in place. Texts of
/// the device may refer to memory of `strings`, which must outlive the device.
bool readSvd(SvdText text, const HwSvdImportLimits& limits, SvdMessages& messages, SvdArena& strings,
    SvdDevice& device);

/// Writes the archive set of a device, root file first. False after an error (reported). With `output`,
/// the files' contents are written into its memory and refer to it (QByteArray::fromRawData): the arena
/// must outlive them.
bool writeArchives(const SvdDevice& device, const HwSvdImportLimits& limits, SvdMessages& messages,
    QList<QPair<QString, QByteArray>>& files, HwSvdImportSummary& summary, SvdArena* output = nullptr);

/// An SVD number: decimal, 0x hexadecimal, # or 0b binary, with an optional k, M or G multiplier. False
/// for anything else or a value beyond 64 bits. `dontCare`, when given, accepts x digits in binary and
/// hexadecimal forms and receives their bits.
bool parseSvdNumber(const char* text, std::uint64_t& value, std::uint64_t* dontCare = nullptr);

/// The name made an identifier of our format: every character other than a letter, a digit or _ becomes _.
QString identifier(const QString& name);

} // namespace vellxml::svd_p

#endif
