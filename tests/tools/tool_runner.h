#ifndef VELLXML_TESTS_TOOL_RUNNER_H
#define VELLXML_TESTS_TOOL_RUNNER_H

#include <QProcess>
#include <QString>
#include <QStringList>

// Runs the vellxml tool as a subprocess and collects what a user would see.
struct ToolRun {
    int exitCode = -1;
    QString out;
    QString err;
};

/// Runs the tool with `input` on its standard input (a pipe, not a terminal).
inline ToolRun runTool(const QStringList& args, const QByteArray& input = QByteArray())
{
    QProcess process;
    process.start(QStringLiteral(VELLXML_TOOL_PATH), args);
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    ToolRun run;
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished();
        run.err = QStringLiteral("<tool crashed or hung>");
        return run;
    }
    run.exitCode = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

#endif
