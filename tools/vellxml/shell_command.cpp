#include "chip.h"
#include "command.h"

#include <vellxml/access/commands.h>
#include <vellxml/host/backend.h>
#if VELLXML_TOOL_SIMULATOR
#include <vellxml/host/simulator.h>
#endif
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QDir>
#include <QString>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <editline/readline.h>
#include <iostream>
#include <string>
#include <unistd.h>

namespace vellxml::cli {
namespace {

const char shellHelp[] = "Usage: vellxml shell [--target LOCATION] ROOT\n"
                         "\n"
                         "An interactive register shell on a simulated target, or on a real one through a\n"
                         "GDB server. On the simulated target every register starts at its reset value;\n"
                         "write-one-to-set, write-one-to-clear and read-only fields behave as described,\n"
                         "and bits of no field stay 0. Commands are written as the completion lists name "
                         "them:\n"
                         "\n"
                         "  UART0.CR1.r              read and print a register (hexadecimal)\n"
                         "  UART0.CR1.r dec          the same in decimal (or bin, or hex)\n"
                         "  UART0.CR1.UE.w 1         write a field (read-modify-write of its register)\n"
                         "  UART0.CR1.M.w EIGHT      a field's value may be one of its option names\n"
                         "  UART0.CR1.getl           the cached value\n"
                         "  DMA1.CH[0].DESC.>.SRC.r  read through a pointer (the pointer is read first)\n"
                         "  UART0.CR1.doc            the register's documentation\n"
                         "\n"
                         "Shell commands: ls [PATH] lists what may follow PATH; format hex|dec|bin sets\n"
                         "how values print; reset puts every register back to its reset value; help;\n"
                         "quit. Tab completes paths, commands and option names; the history is kept in\n"
                         "~/.vellxml_history (or $VELLXML_HISTORY).\n"
                         "\n"
                         "Read from a pipe, the shell runs the same commands without prompts and exits\n"
                         "with status 1 when any of them failed.\n"
                         "\n"
                         "Options:\n"
                         "  --target LOCATION  where the registers are: sim (the simulated target, the\n"
                         "                     default), gdb://HOST:PORT (a GDB server: OpenOCD, pyOCD,\n"
                         "                     J-Link, Black Magic Probe, QEMU; add ?timeout=MS to change\n"
                         "                     the 2000 ms bound of each access), or probe:N (target N of\n"
                         "                     the maker's probe library, in builds that link it). A read\n"
                         "                     on a real target is a real read, side effects included.\n"
                         "  -h, --help         show this help\n";

HwTarget g_target {0};
/// Whether g_target is the simulated target, which the shell prepares and resets.
bool g_simulated = true;

/// The loaded chip and the shell's settings, shared with the completion callback of the line editor.
struct Session {
    HwMemoryMap* map = nullptr;
    HwRootArchive* root = nullptr;
    DisplayType format = DISPLAY_HEX;
};
Session g_session;

#if VELLXML_TOOL_SIMULATOR
// ---- the simulated target ------------------------------------------------------------------------------

void prepareValuable(HwValuable& valuable)
{
    const int bytes = static_cast<int>(valuable.sizeOf());
    if (bytes < 1 || bytes > 4)
        return;
    const sim::Space space = valuable.getType() == TYPE_IREG8 ? sim::Space::Internal : sim::Space::Memory;
    const std::uint32_t address = valuable.getBaseAddress();
    std::uint32_t reset = 0;
    std::uint32_t readOnly = 0;
    std::uint32_t setBits = 0;
    std::uint32_t clearBits = 0;
    for (const auto& field : valuable.getBitFields()) {
        if (field->hasResetValue())
            reset = field->insertValueInCache(reset, field->getResetValue());
        const std::uint32_t mask = field->getFullValueUnshifted();
        switch (field->getWriteKind()) {
        case HwBitField::WRITE_NONE:
            readOnly |= mask;
            break;
        case HwBitField::WRITE_SET:
            setBits |= mask;
            break;
        case HwBitField::WRITE_CLEAR:
            clearBits |= mask;
            break;
        default:
            break;
        }
    }
    // The bits of no field are reserved: they keep their reset value of 0.
    if (!valuable.getBitFields().empty()) {
        std::uint32_t declared = 0;
        for (const auto& field : valuable.getBitFields())
            declared |= field->getFullValueUnshifted();
        const std::uint32_t width = bytes == 4 ? 0xFFFFFFFFu : (1u << (8 * bytes)) - 1;
        readOnly |= width & ~declared;
    }
    sim::poke(g_target.handle, address, reset, bytes, space);
    sim::setReadOnlyBits(g_target.handle, address, readOnly, bytes, space);
    sim::setWriteOneToSetBits(g_target.handle, address, setBits, bytes, space);
    sim::setWriteOneToClearBits(g_target.handle, address, clearBits, bytes, space);
}

/// Every register of the chip at its reset value, with the bit behaviours of its fields.
void resetTarget()
{
    sim::resetTarget(g_target.handle);
    for (HwXMLElement* instance : g_session.root->getInstanciatedTemplates())
        forEachElement(*instance, [](HwXMLElement& element) {
            if (element.isValuable())
                prepareValuable(static_cast<HwValuable&>(element));
        });
}

#endif

// ---- values ----------------------------------------------------------------------------------------------

QString formatValue(const HwXMLElement* element, std::uint32_t value, DisplayType format)
{
    if (element && element->isBitfield())
        return static_cast<const HwBitField*>(element)->convertValueToValueString(value, format, true, false);
    const int bits = element && element->getBitSize() > 0 && element->getBitSize() <= 32
        ? static_cast<int>(element->getBitSize())
        : 32;
    switch (format) {
    case DISPLAY_DEC:
        return QString::number(value);
    case DISPLAY_BIN:
        return QStringLiteral("0b") + QString::number(value, 2).rightJustified(bits, QLatin1Char('0'));
    default:
        return QStringLiteral("0x")
            + QString::number(value, 16).toUpper().rightJustified((bits + 3) / 4, QLatin1Char('0'));
    }
}

bool parseFormat(const QString& word, DisplayType& format)
{
    if (word == QLatin1String("hex"))
        format = DISPLAY_HEX;
    else if (word == QLatin1String("dec"))
        format = DISPLAY_DEC;
    else if (word == QLatin1String("bin"))
        format = DISPLAY_BIN;
    else
        return false;
    return true;
}

void printOut(const QString& text)
{
    std::fputs(text.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
}

void printErr(const QString& text)
{
    std::fflush(stdout);
    std::fprintf(stderr, "error: %s\n", text.toUtf8().constData());
}

// ---- paths -----------------------------------------------------------------------------------------------

/// The element a shell path names. Pointers on the way are read first (the ">" command), so that what
/// follows them is found at the address they hold. Null with `error` set when the path names nothing.
HwXMLElement* resolve(const QString& path, QString& error)
{
    const QStringList tokens = path.split(QLatin1Char('.'));
    QString walked;
    HwXMLElement* element = nullptr;
    for (int i = 0; i < tokens.size(); ++i) {
        const QString& token = tokens[i];
        if (token == QLatin1String(">") && element && element->isPointer()) {
            const HwCommandResult result = runElementCommand(element, QStringLiteral(">"), {}, g_target);
            if (!result.ok()) {
                error = walked + QStringLiteral(".>: ") + commandStatusText(result);
                return nullptr;
            }
        }
        walked += (i ? QStringLiteral(".") : QString()) + token;
        element = g_session.map->getElementFromPath(walked);
        if (!element) {
            error = QStringLiteral("no element %1").arg(walked);
            return nullptr;
        }
    }
    return element;
}

// ---- commands --------------------------------------------------------------------------------------------

bool isCommandOf(const HwXMLElement* element, const QString& name)
{
    for (const HwCommandInfo& info : elementCommands(element))
        if (info.name == name)
            return true;
    return false;
}

bool listCompletions(const QString& path)
{
    const CXMLCompletionList list =
        g_session.map->getCompletionListFromPath(path.isEmpty() ? path : path + QLatin1Char('.'));
    if (list.isEmpty()) {
        printErr(QStringLiteral("nothing follows %1").arg(path));
        return false;
    }
    for (auto it = list.cbegin(); it != list.cend(); ++it) {
        const CXMLCompletionEntry& entry = it.value();
        if (it.key().isEmpty())
            continue; // reserved gaps
        QString line = it.key();
        if (!entry.arguments.isEmpty())
            line += QLatin1Char(' ') + entry.arguments;
        line = line.leftJustified(24);
        if (entry.kind == 0)
            line += QLatin1Char(' ') + entry.help;
        else
            line += QLatin1Char(' ') + entry.result
                + (entry.help.isEmpty() ? QString() : QStringLiteral("  ") + entry.help);
        printOut(line);
    }
    return true;
}

bool runElementLine(const QString& word, QStringList arguments)
{
    const int dot = word.lastIndexOf(QLatin1Char('.'));
    QString error;
    HwXMLElement* element = dot > 0 ? resolve(word.left(dot), error) : nullptr;
    const QString command = dot > 0 ? word.mid(dot + 1) : QString();
    if (!element || !isCommandOf(element, command)) {
        // Not PATH.COMMAND: a path alone lists what may follow it.
        if (arguments.isEmpty() && resolve(word, error))
            return listCompletions(word);
        printErr(element ? QStringLiteral("%1 has no command '%2'").arg(word.left(dot), command) : error);
        return false;
    }
    DisplayType format = g_session.format;
    if (!arguments.isEmpty() && parseFormat(arguments.last(), format))
        arguments.removeLast();
    const HwCommandResult result = runElementCommand(element, command, arguments, g_target);
    if (!result.ok()) {
        printErr(word + QStringLiteral(": ") + commandStatusText(result));
        return false;
    }
    if (command == QLatin1String(">")) {
        printOut(result.element ? result.element->getPath() : QString());
    } else if (command == QLatin1String("doc") || command == QLatin1String("address")) {
        printOut(result.text);
    } else if (command == QLatin1String("r") || command == QLatin1String("rf")) {
        printOut(formatValue(element, result.value, format));
    } else if (command == QLatin1String("rl")) {
        printOut(formatValue(element, result.value, format));
    } else if (result.hasValue && command != QLatin1String("R") && command != QLatin1String("RF")
        && command != QLatin1String("w") && command != QLatin1String("wf") && command != QLatin1String("set")
        && command != QLatin1String("clear") && command != QLatin1String("setl")) {
        // getl, prepl, wl: a register's value.
        printOut(
            formatValue(element->isBitfield() ? static_cast<HwBitField*>(element)->getValuable() : element,
                result.value, format));
    }
    return true;
}

const char shellCommandHelp[] = "  PATH                list what may follow PATH (its members and commands)\n"
                                "  PATH.COMMAND [ARGS] [hex|dec|bin]\n"
                                "                      run an element command (Tab lists them)\n"
                                "  ls [PATH]           list what may follow PATH, or the instances\n"
                                "  format hex|dec|bin  how values print (now: %s)\n"
                                "  reset               every register back to its reset value\n"
                                "  help                this text\n"
                                "  quit                leave (also end of input)\n";

/// Runs one line. Returns false when it failed; sets `quit` when the shell should end.
bool runLine(const QString& line, bool& quit)
{
    QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.isEmpty() || words.first().startsWith(QLatin1Char('#')))
        return true;
    const QString first = words.takeFirst();
    if (first == QLatin1String("quit") || first == QLatin1String("exit")) {
        quit = true;
        return true;
    }
    if (first == QLatin1String("help")) {
        const char* now = g_session.format == DISPLAY_DEC ? "dec"
            : g_session.format == DISPLAY_BIN             ? "bin"
                                                          : "hex";
        std::printf(shellCommandHelp, now);
        return true;
    }
    if (first == QLatin1String("format")) {
        if (words.size() != 1 || !parseFormat(words.first(), g_session.format)) {
            printErr(QStringLiteral("format takes hex, dec or bin"));
            return false;
        }
        return true;
    }
#if VELLXML_TOOL_SIMULATOR
    if (first == QLatin1String("reset")) {
        if (!g_simulated) {
            printErr(QStringLiteral("reset works on the simulated target only"));
            return false;
        }
        resetTarget();
        return true;
    }
#endif
    if (first == QLatin1String("ls")) {
        if (words.size() > 1) {
            printErr(QStringLiteral("ls takes at most one path"));
            return false;
        }
        return listCompletions(words.isEmpty() ? QString() : words.first());
    }
    return runElementLine(first, words);
}

// ---- the line editor -------------------------------------------------------------------------------------

QStringList g_matches;
int g_matchIndex = 0;

char* nextMatch(const char*, int state)
{
    if (state == 0)
        g_matchIndex = 0;
    if (g_matchIndex >= g_matches.size())
        return nullptr;
    return strdup(g_matches[g_matchIndex++].toUtf8().constData());
}

/// What may complete the word `text`: instance names, then the members and commands after the last dot;
/// after an element command, the option names of the field it writes.
QStringList completionsFor(const QString& text, const QString& lineBefore)
{
    QStringList matches;
    if (!lineBefore.trimmed().isEmpty()) {
        const QString word = lineBefore.trimmed().section(QLatin1Char(' '), 0, 0);
        QString error;
        const int dot = word.lastIndexOf(QLatin1Char('.'));
        HwXMLElement* element = dot > 0 ? g_session.map->getElementFromPath(word.left(dot)) : nullptr;
        if (element && element->isBitfield()) {
            for (const HwBitFieldOption& option : static_cast<HwBitField*>(element)->getOptions())
                if (option.name.startsWith(text))
                    matches << option.name;
        }
        for (const char* format : {"hex", "dec", "bin"})
            if (QString::fromLatin1(format).startsWith(text))
                matches << QString::fromLatin1(format);
        return matches;
    }
    const int dot = text.lastIndexOf(QLatin1Char('.'));
    const QString prefix = dot >= 0 ? text.left(dot + 1) : QString();
    const QString partial = text.mid(dot + 1);
    // The list is that of the element the complete tokens reach; the last, partial token filters it.
    const CXMLCompletionList list = g_session.map->getCompletionListFromPath(text);
    for (auto it = list.cbegin(); it != list.cend(); ++it)
        if (!it.key().isEmpty() && it.key().startsWith(partial))
            matches << prefix + it.key();
    if (dot < 0) {
        for (const char* word : {"format", "help", "ls", "quit", "reset"})
            if (QString::fromLatin1(word).startsWith(text))
                matches << QString::fromLatin1(word);
    }
    return matches;
}

char** complete(const char* text, int start, int)
{
    rl_attempted_completion_over = 1; // never fall back to file names
    const QString before = QString::fromUtf8(rl_line_buffer, start);
    g_matches = completionsFor(QString::fromUtf8(text), before);
    // A path goes on with "." or a command's arguments: no space is added after it.
    rl_completion_append_character = before.trimmed().isEmpty() ? '\0' : ' ';
    return rl_completion_matches(text, nextMatch);
}

QString historyPath()
{
    if (const char* path = std::getenv("VELLXML_HISTORY"))
        return QString::fromLocal8Bit(path);
    return QDir::homePath() + QStringLiteral("/.vellxml_history");
}

int interactive()
{
    const QByteArray history = historyPath().toLocal8Bit();
    rl_readline_name = const_cast<char*>("vellxml");
    rl_attempted_completion_function = complete;
    rl_basic_word_break_characters = const_cast<char*>(" \t");
    using_history();
    read_history(history.constData());
    const std::string target = g_simulated ? std::string("a simulated target at reset")
                                           : host::backendOf(g_target.handle)->describe();
    std::printf("vellxml shell on %s: %s. Tab completes, 'help' for help.\n",
        g_session.root->getName().toUtf8().constData(), target.c_str());
    bool quit = false;
    while (!quit) {
        char* raw = readline("vellxml> ");
        if (!raw) {
            std::printf("\n");
            break;
        }
        const QString line = QString::fromUtf8(raw);
        if (!line.trimmed().isEmpty())
            add_history(raw);
        std::free(raw);
        runLine(line, quit);
        std::fflush(stdout);
    }
    write_history(history.constData());
    return ExitOk;
}

int fromPipe()
{
    bool quit = false;
    bool failed = false;
    std::string line;
    while (!quit && std::getline(std::cin, line)) {
        if (!runLine(QString::fromStdString(line), quit))
            failed = true;
        std::fflush(stdout);
    }
    return failed ? ExitFailure : ExitOk;
}

int runShell(const std::vector<std::string>& givenArgs)
{
    // --target LOCATION or --target=LOCATION, before the operands are read.
    std::string location = "sim";
    std::vector<std::string> args;
    for (std::size_t i = 0; i < givenArgs.size(); ++i) {
        if (givenArgs[i] == "--") {
            args.insert(args.end(), givenArgs.begin() + static_cast<std::ptrdiff_t>(i), givenArgs.end());
            break;
        }
        if (givenArgs[i] == "--target") {
            if (i + 1 == givenArgs.size())
                return usageError(shellCommand, "--target takes a location");
            location = givenArgs[++i];
        } else if (givenArgs[i].rfind("--target=", 0) == 0) {
            location = givenArgs[i].substr(9);
        } else {
            args.push_back(givenArgs[i]);
        }
    }
    std::vector<std::string> operands;
    if (const int status = parseOperands(shellCommand, args, 1, "one root file", operands, nullptr);
        status != ExitOk)
        return status;
    const std::string& root = operands[0];
#if !VELLXML_TOOL_SIMULATOR
    (void)root;
    (void)interactive;
    (void)fromPipe;
    printError("the shell runs on the simulated target, and this build uses the maker's host library");
    return ExitFailure;
#else
    const auto map = loadChip(root, false, LoadMessages::Quiet);
    if (!map)
        return ExitFailure;
    g_session.map = map.get();
    g_session.root = rootOf(*map);
    std::string error;
    g_target.handle = host::openTarget(location, error);
    if (g_target.handle < 0) {
        printError(error);
        return ExitFailure;
    }
    g_simulated = location == "sim";
    if (g_simulated)
        resetTarget();
    const int status = isatty(STDIN_FILENO) ? interactive() : fromPipe();
    host::closeTarget(g_target.handle);
    g_session = Session();
    return status;
#endif
}

} // namespace

const Command shellCommand {
    "shell", "an interactive register shell on a simulated or real target", shellHelp, runShell};

} // namespace vellxml::cli
