#include <vellxml/loader/archive.h>
#include "archive_loader_p.h"
#include <vellxml/loader/memory_map.h>
#include <vellxml/text_store_p.h>

#include <QDir>
#include <QFileInfo>

HwMemoryMap* HwMemoryMap::m_activeMemoryMap = nullptr;
unsigned int HwMemoryMap::m_bitfieldGen = 0;
bool HwMemoryMap::m_bitfieldGenIgnoreReserved = false;
bool HwMemoryMap::m_forceMaskShift = false;

HwMemoryMap::HwMemoryMap()
    : m_globals(std::make_unique<HwVariableManager>())
{
}

HwMemoryMap::~HwMemoryMap()
{
    if (m_activeMemoryMap == this)
        m_activeMemoryMap = nullptr;
    // The globals hold names and comments of the chips that declared them, which may have been replaced
    // since: once everything is gone, the text blocks they kept are freed too.
    m_globals.reset();
    m_softRoot.reset();
    m_chipRoot.reset();
    vellxml::text_p::TextStore::releaseSetAside();
}

void HwMemoryMap::setChipRootArchive(std::unique_ptr<HwRootArchive> root)
{
    m_chipRoot = std::move(root);
}

void HwMemoryMap::setSoftRootArchive(std::unique_ptr<HwRootArchive> root)
{
    m_softRoot = std::move(root);
}

namespace {

void reportUnpositioned(vellxml::DiagnosticSink& sink, vellxml::Severity severity, const QString& text)
{
    vellxml::Diagnostic diagnostic;
    diagnostic.severity = severity;
    diagnostic.code = QString::fromLatin1(
        severity == vellxml::Severity::Log ? vellxml::code::Progress : vellxml::code::ArchiveFormat);
    diagnostic.text = text;
    sink.report(diagnostic);
}

} // namespace

HwRootArchive* HwMemoryMapLoader::loadRootArchiveFromFile(HwMemoryMap* memoryMap, const QString& path,
    HwMessageCallback log, HwMessageCallback error, HwMessageCallback warning, bool chip)
{
    vellxml::DiagnosticCallbacks callbacks(log, error, warning);
    return loadRootArchiveFromFile(memoryMap, path, callbacks, chip);
}

HwRootArchive* HwMemoryMapLoader::loadRootArchiveFromFile(
    HwMemoryMap* memoryMap, const QString& path, vellxml::DiagnosticSink& sink, bool chip)
{
    if (path.isEmpty()) {
        reportUnpositioned(sink, vellxml::Severity::Log,
            chip ? QStringLiteral("No XML Chip to Load.") : QStringLiteral("No XML Soft to Load."));
        return nullptr;
    }
    const QFileInfo info(path);
    const QString baseName = info.baseName();
    const QString directory = info.absolutePath();
    auto root = std::make_unique<HwRootArchive>(memoryMap, baseName);
    // Global variables declared by a failing load are taken back with the rest.
    const int globalCount = memoryMap ? memoryMap->getGlobalVariables().count() : 0;
    HwArchiveLoader loader(sink, m_limits);
    loader.setDescriptionChecks(m_checks);
    XMDOpenError result = XMD_OK;
    // The root file is required: without it there is nothing to load.
    HwXMLArchive* archive = loader.loadArchiveFromFile(
        path, info.fileName(), directory, root.get(), HwArchiveLoader::OpenProblem::Fail, result);
    if (!archive) {
        // A root bigarchive holding no archive is read without a complaint (an include of one adds
        // nothing), but it leaves the load without a model: say so, or the caller gets nothing and no reason.
        if (result == XMD_OK)
            reportUnpositioned(sink, vellxml::Severity::Error, QStringLiteral("No archive in %1.").arg(path));
        if (memoryMap)
            memoryMap->getGlobalVariables().truncate(globalCount);
        return nullptr;
    }
    loader.finishDescriptionChecks();
    reportUnpositioned(sink, vellxml::Severity::Log,
        (chip ? QStringLiteral("Chip %1 loaded.") : QStringLiteral("Soft %1 loaded.")).arg(baseName));
    HwRootArchive* loaded = root.get();
    if (memoryMap) {
        if (chip)
            memoryMap->setChipRootArchive(std::move(root));
        else
            memoryMap->setSoftRootArchive(std::move(root));
        return loaded;
    }
    // Without a memory map the caller owns the root.
    return root.release();
}
