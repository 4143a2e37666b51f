#ifndef VELLXML_TESTS_GENERATORS_GENERATOR_SUPPORT_H
#define VELLXML_TESTS_GENERATORS_GENERATOR_SUPPORT_H

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <string>

inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace gentest {

inline void onError(const char* text)
{
    ADD_FAILURE() << "load error: " << text;
}

/// The generator switches and root options as a test sets them; restored when the test ends, since they
/// are process-wide.
struct Switches {
    unsigned int bitfieldGen = 1;
    bool ignoreReserved = false;
    bool forceMaskShift = false;

    void apply() const
    {
        HwMemoryMap::m_bitfieldGen = bitfieldGen;
        HwMemoryMap::m_bitfieldGenIgnoreReserved = ignoreReserved;
        HwMemoryMap::m_forceMaskShift = forceMaskShift;
    }
};

class SwitchGuard {
public:
    explicit SwitchGuard(const Switches& switches = Switches()) { switches.apply(); }
    ~SwitchGuard() { Switches {0, false, false}.apply(); }
    SwitchGuard(const SwitchGuard&) = delete;
    SwitchGuard& operator=(const SwitchGuard&) = delete;
};

inline QString readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

inline void writeText(const QString& path, const QString& text)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(text.toUtf8());
}

/// Every file under dir, as paths relative to it, sorted.
inline QStringList filesUnder(const QString& dir)
{
    QStringList files;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(QDir(dir).relativeFilePath(it.next()));
    files.sort();
    return files;
}

/// The result of an external tool.
struct ToolRun {
    int exitCode = -1;
    QString output; // standard output and error together
};

inline ToolRun runTool(
    const QString& program, const QStringList& arguments, const QString& workingDirectory = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    if (!workingDirectory.isEmpty())
        process.setWorkingDirectory(workingDirectory);
    process.start(program, arguments);
    ToolRun run;
    if (!process.waitForStarted(30000)) {
        run.output = QStringLiteral("cannot start ") + program;
        return run;
    }
    process.waitForFinished(300000);
    run.output = QString::fromUtf8(process.readAll());
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return run;
}

/// A chip loaded from a root file into its own memory map.
struct LoadedChip {
    HwMemoryMap map;
    HwRootArchive* root = nullptr;

    explicit LoadedChip(const QString& rootFile)
    {
        HwMemoryMapLoader loader;
        root = loader.loadRootArchiveFromFile(&map, rootFile, nullptr, onError, onError, true);
    }
};

} // namespace gentest

#endif
