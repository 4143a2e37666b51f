// The register shell, through a pipe (scripts) and through a pseudo-terminal (Tab completion).
#include "host/fake_gdb_server.h"
#include "tool_runner.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const QString demoRoot = QStringLiteral(VELLXML_DEMO_DIR "/chip.xml");

ToolRun shell(const QString& root, const QByteArray& script)
{
    return runTool({QStringLiteral("shell"), root}, script);
}

TEST(ShellCommand, ReadsWritesAndPrintsInEveryFormat)
{
    const ToolRun run = shell(demoRoot,
        "UART0.ISR.r\n"
        "UART0.ISR.r dec\n"
        "# fields take numbers or option names; a write is a read-modify-write\n"
        "UART0.CR1.WL.w BITS_9\n"
        "UART0.CR1.r\n"
        "UART0.CR1.WL.r\n"
        "UART0.CR1.UE.set\n"
        "format bin\n"
        "UART0.CR1.r\n"
        "UART0.CR1.getl hex\n"
        "UART0.BRR.address\n");
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.toStdString(),
        "0x000000C0\n" // TC and TXE at their reset value
        "192\n"
        "0x00001000\n"
        "0x1 (BITS_9)\n"
        "0b00000000000000000001000000000001\n"
        "0x00001001\n"
        "0x40004408\n");
    EXPECT_TRUE(run.err.isEmpty()) << run.err.toStdString();
}

TEST(ShellCommand, FailuresGoToStandardErrorAndTheStatusButTheScriptGoesOn)
{
    const ToolRun run = shell(demoRoot,
        "UART0.ISR.TC.w 0\n" // a read-only field
        "NOPE.r\n"
        "UART0.CR1.jump\n"
        "UART0.CR1.w 0x100000000\n" // wider than the register
        "DMA1.CH[0].DESC.>.SRC_ADDR.r\n" // the pointer holds 0
        "UART0.CR1.UE.r\n");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out.toStdString(), "0x0\n");
    const QStringList errors = run.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(errors.size(), 5) << run.err.toStdString();
    EXPECT_TRUE(errors[0].startsWith(QStringLiteral("line 1: error: UART0.ISR.TC.w: ")))
        << errors[0].toStdString();
    EXPECT_EQ(errors[1], QStringLiteral("line 2: error: no element NOPE"));
    EXPECT_EQ(errors[2], QStringLiteral("line 3: error: UART0.CR1 has no command 'jump'"));
    EXPECT_TRUE(errors[3].startsWith(QStringLiteral("line 4: error: UART0.CR1.w: ")))
        << errors[3].toStdString();
    EXPECT_TRUE(errors[4].contains(QStringLiteral("31"))) << errors[4].toStdString();
}

TEST(ShellCommand, PointersAreReadBeforeWhatTheyPointTo)
{
    const ToolRun run = shell(demoRoot,
        "DMA1.CH[0].DESC.w 0x20000100\n"
        "DMA1.CH[0].DESC.>\n"
        "DMA1.CH[0].DESC.>.SRC_ADDR.w 0x1234\n"
        "DMA1.CH[0].DESC.>.SRC_ADDR.address\n" // after the descriptor's CTRL word
        "DMA1.CH[0].DESC.>.SRC_ADDR.r\n");
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.toStdString(),
        "$DMA1.CH[0].DESC.>\n"
        "0x20000104\n"
        "0x00001234\n");
}

TEST(ShellCommand, WriteOneToClearAndSetFlagsBehaveAndSurviveNeighbourWrites)
{
    QTemporaryDir dir;
    const QString root = dir.path() + QStringLiteral("/chip.xml");
    QFile file(root);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("<archive>\n"
               "<module name=\"blk\">\n"
               "  <reg32 name=\"st\">\n"
               "    <bits name=\"en\" pos=\"0\" rst=\"0\"/>\n"
               "    <bits name=\"done\" pos=\"4\" access=\"rc\" rst=\"1\"/>\n"
               "    <bits name=\"lock\" pos=\"8\" access=\"rs\" rst=\"0\"/>\n"
               "    <bits name=\"id\" pos=\"23:16\" access=\"r\" rst=\"0x5A\"/>\n"
               "  </reg32>\n"
               "</module>\n"
               "<instance name=\"B\" type=\"blk\" address=\"0x1000\"/>\n"
               "</archive>\n");
    file.close();
    const ToolRun run = shell(root,
        "B.st.r\n"
        "B.st.en.w 1\n" // must not clear done nor set lock
        "B.st.r\n"
        "B.st.done.w 1\n" // write one to clear
        "B.st.r\n"
        "B.st.lock.set\n"
        "B.st.lock.clear\n" // writing 0 leaves a write-one-to-set bit alone
        "B.st.wf 0xFFFFFFFF\n" // id and the bits of no field are read-only in the target
        "B.st.r\n"
        "reset\n"
        "B.st.r\n");
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.toStdString(),
        "0x005A0010\n"
        "0x005A0011\n"
        "0x005A0001\n"
        "0x005A0101\n"
        "0x005A0010\n");
}

TEST(ShellCommand, PathsAloneAndLsListWhatFollows)
{
    const ToolRun run = shell(demoRoot, "ls\nUART0.CR1.WL\nls UART0\n");
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("UART1 ")));
    EXPECT_TRUE(run.out.contains(QStringLiteral("wl cacheval,value ")));
    EXPECT_TRUE(run.out.contains(QStringLiteral("CR1 ")));
}

/// Reads a process's output until `text` appears in it or 20 seconds pass; returns what was read.
QString readUntil(QProcess& process, bool fromStderr, const QString& text, QString& seen)
{
    QElapsedTimer timer;
    timer.start();
    while (!seen.contains(text) && timer.elapsed() < 20000) {
        process.waitForReadyRead(100);
        seen += QString::fromUtf8(
            fromStderr ? process.readAllStandardError() : process.readAllStandardOutput());
    }
    return seen;
}

TEST(ShellCommand, ALostGdbConnectionFailsOneCommandAndTheNextConnectsAgain)
{
    auto server = std::make_unique<FakeGdbServer>(true, std::vector<std::string> {});
    server->serveMemory();
    const std::uint16_t port = server->port();
    const QString location = QStringLiteral("gdb://127.0.0.1:%1").arg(port);
    QProcess shell;
    shell.start(QStringLiteral(VELLXML_TOOL_PATH),
        {QStringLiteral("shell"), QStringLiteral("--target"), location + QStringLiteral("?timeout=1000"),
            demoRoot});
    QString out;
    QString err;
    shell.write("write32 0x20000000 0x2A7D2423\nread32 0x20000000\n");
    EXPECT_EQ(readUntil(shell, false, QStringLiteral("0x2A7D2423\n"), out).toStdString(),
        "0x20000000: 0x2A7D2423\n");
    // The server goes away: the command that meets it fails, and the shell says what comes next.
    server.reset();
    shell.write("read32 0x20000000\n");
    const QString lost = QStringLiteral("line 3: error: read32 0x20000000: host error 40\n"
                                        "line 3: note: the connection to %1 was lost; the next access "
                                        "connects again ('reconnect' does it now)\n")
                             .arg(location);
    EXPECT_EQ(readUntil(shell, true, QStringLiteral("now)\n"), err).toStdString(), lost.toStdString());
    // Back on the same port, with fresh memory: the next command connects, and reconnect does it on demand.
    server = std::make_unique<FakeGdbServer>(true, std::vector<std::string> {}, true, false, port);
    ASSERT_TRUE(server->bound());
    server->serveMemory();
    out.clear();
    shell.write("read32 0x20000000\nreconnect\n");
    readUntil(shell, false, location + QStringLiteral("\n"), out);
    shell.closeWriteChannel();
    ASSERT_TRUE(shell.waitForFinished(20000));
    out += QString::fromUtf8(shell.readAllStandardOutput());
    err += QString::fromUtf8(shell.readAllStandardError());
    EXPECT_EQ(out.toStdString(), "0x20000000: 0x00000000\nconnected to " + location.toStdString() + "\n");
    EXPECT_EQ(err.toStdString(), lost.toStdString());
    EXPECT_EQ(shell.exitCode(), 1); // line 3 failed
}

// A pseudo-terminal: the shell prompts and edits lines, and Tab completes.
class Terminal {
public:
    /// Runs `vellxml COMMAND ROOT` with its standard streams on a new pseudo-terminal.
    Terminal(const char* command, const QString& root, const QString& history = QStringLiteral("/dev/null"))
    {
        const std::string rootPath = root.toStdString();
        const std::string historyPath = history.toStdString();
        m_pid = forkpty(&m_master, nullptr, nullptr, nullptr);
        if (m_pid == 0) {
            setenv("TERM", "xterm", 1);
            setenv("VELLXML_HISTORY", historyPath.c_str(), 1);
            setenv("VELLXML_PROGRESS_DELAY_MS", "0", 1);
            execl(VELLXML_TOOL_PATH, "vellxml", command, rootPath.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~Terminal()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        if (m_master >= 0)
            close(m_master);
    }
    bool started() const { return m_pid > 0; }
    void type(const char* keys)
    {
        ASSERT_EQ(write(m_master, keys, std::strlen(keys)), static_cast<ssize_t>(std::strlen(keys)));
    }
    /// Reads until `text` appears or 10 seconds pass; returns everything read so far.
    std::string waitFor(const std::string& text,
        std::chrono::steady_clock::duration limit = std::chrono::seconds(10))
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (m_seen.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            fd_set fds;
            FD_ZERO(&fds);
            FD_SET(m_master, &fds);
            timeval timeout {0, 100000};
            if (select(m_master + 1, &fds, nullptr, nullptr, &timeout) > 0) {
                char buffer[4096];
                const ssize_t got = read(m_master, buffer, sizeof buffer);
                if (got <= 0)
                    break;
                m_seen.append(buffer, static_cast<std::size_t>(got));
            }
        }
        return m_seen;
    }

private:
    int m_master = -1;
    pid_t m_pid = -1;
    std::string m_seen;
};

TEST(ShellTerminal, TabCompletesPathsAndCommandsAndTheLineRuns)
{
    QTemporaryDir dir;
    const QString history = dir.path() + QStringLiteral("/history");
    Terminal terminal("shell", demoRoot, history);
    ASSERT_TRUE(terminal.started());
    ASSERT_NE(terminal.waitFor("vellxml> ").find("vellxml> "), std::string::npos);
    // Two completions make the line: without them "UART0.BR.addr" names nothing.
    terminal.type("UART0.BR\t.addr\t\r");
    std::string seen = terminal.waitFor("0x40004408");
    EXPECT_NE(seen.find("0x40004408"), std::string::npos) << seen;
    // An ambiguous start lists the candidates on a second Tab.
    terminal.type("UART0.CR\t\t");
    seen = terminal.waitFor("CR2");
    EXPECT_NE(seen.find("CR1"), std::string::npos) << seen;
    EXPECT_NE(seen.find("CR2"), std::string::npos) << seen;
    terminal.type("1.UE.set\rUART0.CR1.r\r");
    seen = terminal.waitFor("0x00000001");
    EXPECT_NE(seen.find("0x00000001"), std::string::npos) << seen;
    terminal.type("quit\r");
    terminal.waitFor("<never printed>"); // until the shell ends and closes the terminal
    QFile kept(history);
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_TRUE(kept.readAll().contains("UART0.CR1.r")); // the history is kept for the next session
}

TEST(ShellTerminal, TabOffersArrayItemsAndCtrlCCancelsTheLine)
{
    QTemporaryDir dir;
    const QString history = dir.path() + QStringLiteral("/history");
    Terminal terminal("shell", demoRoot, history);
    ASSERT_TRUE(terminal.started());
    ASSERT_NE(terminal.waitFor("vellxml> ").find("vellxml> "), std::string::npos);
    // The items of an array once its name and bracket are typed; one of them completes the line.
    terminal.type("DMA1.CH[\t\t");
    std::string seen = terminal.waitFor("DMA1.CH[7]");
    for (const char* item : {"DMA1.CH[0]", "DMA1.CH[3]", "DMA1.CH[7]"})
        EXPECT_NE(seen.find(item), std::string::npos) << item << " in " << seen;
    terminal.type("5].CC\t.addr\t\r");
    seen = terminal.waitFor("0x40020088");
    EXPECT_NE(seen.find("0x40020088"), std::string::npos) << seen;
    // Type on only once the next prompt is drawn: keys typed before the line editor takes the terminal are
    // echoed by the terminal itself, and a Ctrl-C among them shows as "^C".
    const std::size_t answered = seen.find("0x40020088");
    for (int wait = 0; wait < 100 && seen.find("vellxml> ", answered) == std::string::npos; ++wait)
        seen = terminal.waitFor("<the next prompt>", std::chrono::milliseconds(100));
    // Ctrl-C drops the half-typed line: the shell goes on, and the line neither runs nor enters the history.
    terminal.type("UART0.CR1.UE.se");
    terminal.waitFor("UART0.CR1.UE.se");
    terminal.type("\x03");
    seen = terminal.waitFor("UART0.CR1.UE.se\r\nvellxml> ");
    EXPECT_NE(seen.find("UART0.CR1.UE.se\r\nvellxml> "), std::string::npos) << seen;
    terminal.type("UART0.CR1.r\r");
    seen = terminal.waitFor("0x00000000");
    EXPECT_NE(seen.find("0x00000000"), std::string::npos) << seen;
    EXPECT_EQ(seen.find("error"), std::string::npos) << seen;
    terminal.type("quit\r");
    terminal.waitFor("<never printed>");
    QFile kept(history);
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    const QByteArray lines = kept.readAll();
    EXPECT_TRUE(lines.contains("UART0.CR1.r")) << lines.toStdString();
    EXPECT_FALSE(lines.contains("UE.se")) << lines.toStdString();
}

TEST(ShellTerminal, LoadsShowProgressOnATerminal)
{
    Terminal terminal("check", demoRoot);
    ASSERT_TRUE(terminal.started());
    const std::string seen = terminal.waitFor(": ok,");
    // The line is drawn over itself ("\r", erase to the end) and cleared before each message.
    EXPECT_NE(seen.find("\r\033[Kloading: 1  "), std::string::npos) << seen;
    EXPECT_NE(seen.find(": ok,"), std::string::npos) << seen;
}

} // namespace
