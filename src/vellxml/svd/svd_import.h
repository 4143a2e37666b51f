#ifndef VELLXML_SVD_SVD_IMPORT_H
#define VELLXML_SVD_SVD_IMPORT_H

#include <vellxml/loader/document.h>
#include <vellxml/vellxml_export.h>

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <cstdint>

/// Bounds that keep a hostile SVD file from exhausting the importer. Each one passed is an error.
struct HwSvdImportLimits {
    /// Bounds of reading the file itself (size, nesting, document type).
    HwLoadLimits document;
    /// Largest `dim` of one element.
    std::int64_t maxDim = 65536;
    /// Most registers and fields the archive set may describe, array items counted one by one.
    std::int64_t maxElements = 4 * 1024 * 1024;
    /// Deepest nesting of clusters.
    int maxClusterDepth = 32;
    /// Longest chain of `derivedFrom` references.
    int maxDerivationDepth = 32;
};

/// What an import produced, for reports and benchmarks.
struct HwSvdImportSummary {
    int peripherals = 0; ///< instances placed (a peripheral array counts each item)
    int types = 0; ///< modules written (one per peripheral type and overlap layer)
    std::int64_t registers = 0; ///< registers described, array items counted one by one
    std::int64_t fields = 0; ///< bitfields described, array items counted one by one
    int warnings = 0;
};

/// The name of the root file of every archive set the importer writes.
inline constexpr const char* SVD_ROOT_FILE_NAME = "chip.xml";

/// Turns the CMSIS-SVD text `svd` (read from `path`, which names it in messages) into an archive set: a list
/// of (file name, content) with the root file (SVD_ROOT_FILE_NAME) first and one archive per peripheral
/// type. Problems the importer works around go to `warning` as "PATH:LINE:COLUMN: warning: TEXT"; what
/// cannot be represented goes to `error` as "PATH:LINE:COLUMN: error: TEXT" and gives false with `files`
/// empty. Never prints.
VELLXML_EXPORT bool convertSvd(const QByteArray& svd, const QString& path,
    QList<QPair<QString, QByteArray>>& files, HwMessageCallback error, HwMessageCallback warning,
    const HwSvdImportLimits& limits = HwSvdImportLimits(), HwSvdImportSummary* summary = nullptr);

/// Imports the SVD file `svdPath` into the directory `outputDir`: convertSvd, then the archive set is
/// written into a new directory beside `outputDir` and moved in its place (an existing `outputDir` is
/// replaced), so that the set is written whole or not at all. Returns false, with a message through
/// `error`, when the file cannot be read or converted or the directory cannot be written.
VELLXML_EXPORT bool importSvdFile(const QString& svdPath, const QString& outputDir, HwMessageCallback error,
    HwMessageCallback warning, const HwSvdImportLimits& limits = HwSvdImportLimits(),
    HwSvdImportSummary* summary = nullptr);

#endif
