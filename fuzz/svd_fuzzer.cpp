// The SVD importer on one file. Either the import fails with at least one error and writes nothing, or it
// gives an archive set, root file first, that the loader loads with no error (served from memory): what the
// importer accepts, it must represent.
#include "fuzz_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/svd/svd_import.h>

#include <cstddef>
#include <cstdint>

namespace {

using vellxml::fuzz::messageCount;
using vellxml::fuzz::require;

const QString g_directory = QStringLiteral("/vellxml-fuzz/svd");

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    HwSvdImportLimits limits;
    limits.document.maxFileSize = 1 << 20;
    limits.maxDim = 1024;
    limits.maxElements = 50000;
    messageCount() = vellxml::fuzz::MessageCount();
    QList<QPair<QString, QByteArray>> files;
    const bool converted = convertSvd(input, QStringLiteral("fuzz.svd"), files, vellxml::fuzz::countError,
        vellxml::fuzz::countWarning, limits);
    if (!converted) {
        require(messageCount().error >= 1, "failed import without an error message");
        require(files.isEmpty(), "failed import with files");
        return 0;
    }
    require(messageCount().error == 0, "import succeeded with an error message");
    require(
        !files.isEmpty() && files.first().first == QLatin1String(SVD_ROOT_FILE_NAME), "no root file first");

    vellxml::fuzz::MemoryFileSource source;
    for (const auto& file : files)
        source.add(g_directory + QLatin1Char('/') + file.first, file.second);
    vellxml::fuzz::ServedFiles served(source);
    messageCount() = vellxml::fuzz::MessageCount();
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    loader.limits().maxElements = 200000;
    const bool loaded =
        loader.loadRootArchiveFromFile(&map, g_directory + QLatin1Char('/') + files.first().first, nullptr,
            vellxml::fuzz::countError, vellxml::fuzz::countWarning, true)
        != nullptr;
    require(loaded && messageCount().error == 0, "an imported archive set does not load");
    return 0;
}
