#include "chip.h"
#include "command.h"
#include "register_view.h"

#include <vellxml/access/commands.h>
#include <vellxml/host/probe.h>
#include <vellxml/host/backend.h>
#include <vellxml/host/gdb_remote.h>
#if VELLXML_TOOL_SIMULATOR
#include <vellxml/host/simulator.h>
#endif
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QDir>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <cerrno>
#include <csignal>
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
                         "  UART0.CR1.r                   read and print a register (hexadecimal)\n"
                         "  UART0.CR1.r dec               the same in decimal (or bin, or hex)\n"
                         "  UART0.CR1.UE.w 1              write a field (read-modify-write of its register)\n"
                         "  UART0.CR1.WL.w BITS_9         a field's value may be one of its option names\n"
                         "  UART0.ISR.ERRORS.r            a bit group reads and writes like a field\n"
                         "  UART0.CR1.WL.wl 0x0,1         a field set inside a given register value\n"
                         "  UART0.CR1.getl                the cached value\n"
                         "  DMA1.CH[0].DESC.w 0x20000100  point a descriptor pointer into SRAM\n"
                         "  DMA1.CH[0].DESC.>.SRC_ADDR.r  read through it (the pointer is read first)\n"
                         "  UART0.CR1.doc                 the register's documentation\n"
                         "  show UART0.CR1                read a register and decode every field\n"
                         "  show UART0                    read and decode every register of a block\n"
                         "  find 0x4000440C               the element at an address\n"
                         "  read32 0x40004400 4           raw memory: read8/16/32 ADDRESS [COUNT]\n"
                         "  write16 0x40004408 0x1A1      raw memory: write8/16/32 ADDRESS VALUE\n"
                         "\n"
                         "Shell commands: ls [PATH] lists what may follow PATH; format hex|dec|bin sets\n"
                         "how values print; reset puts every register back to its reset value (simulated\n"
                         "target); reconnect connects to the GDB server again; help; quit. Tab completes\n"
                         "paths, array items, commands and option names as `vellxml complete` does;\n"
                         "Ctrl-C cancels the line; the history is kept in ~/.vellxml_history (or\n"
                         "$VELLXML_HISTORY).\n"
                         "\n"
                         "A path may start with $, as `vellxml list` prints it. Nothing may follow a\n"
                         "bitfield or a bit group in a path: such a line is refused before any access.\n"
                         "Reads have the effects they have on the chip: reading a receive register pops\n"
                         "its FIFO, also within `show` of a whole block.\n"
                         "\n"
                         "Read from a pipe, the shell runs the same commands without prompts; each\n"
                         "failure is reported as \"line N: error: TEXT\" and the shell exits with\n"
                         "status 1 when any line failed.\n"
                         "\n"
                         "Options:\n"
                         "  --target LOCATION  where the registers are: sim (the simulated target, the\n"
                         "                     default), gdb://HOST:PORT (a GDB server: OpenOCD, pyOCD,\n"
                         "                     J-Link, Black Magic Probe, QEMU; add ?timeout=MS to change\n"
                         "                     the 2000 ms bound of each access), or probe:N (target N of\n"
                         "                     the maker's probe library, in builds that link it). A read\n"
                         "                     on a real target is a real read, side effects included.\n"
                         "                     When the server closes the connection or stops answering,\n"
                         "                     the command that meets it fails with host error 40 (closed)\n"
                         "                     or 41 (no answer in time), and the next access connects\n"
                         "                     again by itself (host error 42 while that fails); the\n"
                         "                     shell keeps its settings. reconnect does it at once.\n"
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
    const std::uint32_t reset = valuable.getResetValue().value;
    std::uint32_t readOnly = 0;
    std::uint32_t setBits = 0;
    std::uint32_t clearBits = 0;
    for (const auto& field : valuable.getBitFields()) {
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

/// The line of a piped script being run (1 for the first), or 0 at the prompt.
int g_lineNumber = 0;

/// Set by Ctrl-C in an interactive shell: it cancels the line being typed, or stops a long command
/// (a read of many addresses, a show of a large block) between two accesses.
volatile std::sig_atomic_t g_interrupted = 0;

void printOut(const QString& text)
{
    std::fputs(text.toUtf8().constData(), stdout);
    if (!text.endsWith(QLatin1Char('\n')))
        std::fputc('\n', stdout);
}

bool printErr(const QString& text)
{
    std::fflush(stdout);
    if (g_lineNumber > 0)
        std::fprintf(stderr, "line %d: error: %s\n", g_lineNumber, text.toUtf8().constData());
    else
        std::fprintf(stderr, "error: %s\n", text.toUtf8().constData());
    return false;
}

// ---- paths -----------------------------------------------------------------------------------------------

/// Reads a pointer before its ">" is followed.
bool readPointer(HwXMLElement& pointer, const QString& walked, QString& error)
{
    const HwCommandResult result = runElementCommand(&pointer, QStringLiteral(">"), {}, g_target);
    if (result.ok())
        return true;
    error = walked + QStringLiteral(".>: ") + commandStatusText(result);
    return false;
}

PathTarget resolve(const QString& path, QString& error)
{
    return resolvePath(*g_session.map, path, error, readPointer);
}

// ---- commands --------------------------------------------------------------------------------------------

bool isCommandOf(const PathTarget& target, const QString& name)
{
    const QList<HwCommandInfo> commands = target.group ? bitGroupCommands() : elementCommands(target.element);
    for (const HwCommandInfo& info : commands)
        if (info.name == name)
            return true;
    return false;
}

bool listCompletions(QString path)
{
    if (path.endsWith(QLatin1Char('.')))
        path.chop(1);
    auto print = [](const QString& name, const CXMLCompletionEntry& entry) {
        QString line = name;
        if (!entry.arguments.isEmpty())
            line += QLatin1Char(' ') + entry.arguments;
        line = line.leftJustified(24);
        if (entry.kind == 0)
            line += QLatin1Char(' ') + entry.help;
        else
            line += QLatin1Char(' ') + entry.result
                + (entry.help.isEmpty() ? QString() : QStringLiteral("  ") + entry.help);
        printOut(line);
    };
    if (!path.isEmpty()) {
        QString error;
        const PathTarget target = resolvePath(*g_session.map, path, error);
        if (!target)
            return printErr(error);
        // Nothing follows an array's own name but its items: those are listed.
        if (target.element && target.element->isArray()) {
            const auto& items = static_cast<const HwArray*>(target.element)->getMemberList();
            if (items.empty())
                return printErr(QStringLiteral("nothing follows %1").arg(path));
            for (const auto& item : items)
                print(item->getName(), HwMemoryMap::getCompletionEntryFromElement(item.get()));
            return true;
        }
    }
    const CXMLCompletionList list =
        g_session.map->getCompletionListFromPath(path.isEmpty() ? path : path + QLatin1Char('.'));
    if (list.isEmpty())
        return printErr(QStringLiteral("nothing follows %1").arg(path));
    for (auto it = list.cbegin(); it != list.cend(); ++it) {
        if (!it.key().isEmpty()) // reserved gaps have no name
            print(it.key(), it.value());
    }
    return true;
}

/// Reads a valuable for `show`: its value lands in the cache, or the failure is reported.
bool readForShow(HwValuable& valuable)
{
    const HwCommandResult result = HwCommands::read(valuable, g_target);
    if (result.ok())
        return true;
    return printErr(userPath(valuable) + QStringLiteral(": ") + commandStatusText(result));
}

/// show PATH|ADDRESS: reads and decodes a register, a field, a bit group, or every register below a
/// structure or an array.
bool showLine(const QStringList& words)
{
    DisplayType format = g_session.format;
    QStringList operands = words;
    if (operands.size() == 2 && parseFormat(operands.last(), format))
        operands.removeLast();
    if (operands.size() != 1)
        return printErr(QStringLiteral("show takes a path or an address, and hex, dec or bin"));
    PathTarget target;
    std::uint32_t address = 0;
    QString error;
    if (parseAddress(operands.first(), address)) {
        target.element = elementAtAddress(*g_session.map, address);
        if (!target.element)
            return printErr(QStringLiteral("no element at %1").arg(operands.first()));
    } else {
        target = resolve(operands.first(), error);
        if (!target)
            return printErr(error);
    }
    if (target.group) {
        const HwCommandResult result = HwCommands::read(*target.group, g_target);
        if (!result.ok())
            return printErr(userPath(*target.group) + QStringLiteral(": ") + commandStatusText(result));
        printOut(userPath(*target.group) + QStringLiteral(" = ")
            + formatGroupValue(*target.group, result.value, format));
        return true;
    }
    HwXMLElement* element = target.element;
    if (element->isBitfield()) {
        auto* field = static_cast<HwBitField*>(element);
        const HwCommandResult result = HwCommands::read(*field, g_target);
        if (!result.ok())
            return printErr(userPath(*field) + QStringLiteral(": ") + commandStatusText(result));
        printOut(userPath(*field) + QStringLiteral(" = ") + formatValue(field, result.value, format));
        return true;
    }
    bool ok = true;
    int shown = 0;
    forEachElement(*element, [&](HwXMLElement& member) {
        if (!member.isValuable() || g_interrupted)
            return;
        auto& valuable = static_cast<HwValuable&>(member);
        ++shown;
        if (!valuable.isReadable()) {
            printOut(userPath(valuable) + QStringLiteral(" = ? (read-protected)"));
            return;
        }
        if (readForShow(valuable))
            printOut(decodedValuable(valuable, format));
        else
            ok = false;
    });
    if (g_interrupted)
        return printErr(QStringLiteral("interrupted"));
    if (shown == 0)
        return printErr(QStringLiteral("%1 holds no register").arg(userPath(*element)));
    return ok;
}

/// find ADDRESS: the element at an address.
bool findLine(const QStringList& words)
{
    std::uint32_t address = 0;
    if (words.size() != 1 || !parseAddress(words.first(), address))
        return printErr(QStringLiteral("find takes one address (0x..)"));
    const HwXMLElement* element = elementAtAddress(*g_session.map, address);
    if (!element)
        return printErr(QStringLiteral("no element at %1").arg(words.first()));
    printOut(describeAddress(*element, address));
    return true;
}

/// read8/16/32 ADDRESS [COUNT] and write8/16/32 ADDRESS VALUE: memory by address, one access of the given
/// width per value, whatever the description says is there.
bool memoryLine(const QString& command, const QStringList& words)
{
    const bool reading = command.startsWith(QLatin1String("read"));
    const int bits = command.mid(reading ? 4 : 5).toInt();
    const int bytes = bits / 8;
    const QString usage = reading ? QStringLiteral("%1 takes an address (0x..) and a count").arg(command)
                                  : QStringLiteral("%1 takes an address (0x..) and a value").arg(command);
    std::uint32_t address = 0;
    if (words.isEmpty() || !parseAddress(words.first(), address))
        return printErr(usage);
    if (address % static_cast<std::uint32_t>(bytes) != 0)
        return printErr(QStringLiteral("%1 is not aligned to %2 bytes").arg(words.first()).arg(bytes));
    const std::uint32_t widthMask = bits == 32 ? 0xFFFFFFFFu : (1u << bits) - 1u;
    if (!reading) {
        if (words.size() != 2)
            return printErr(usage);
        bool ok = false;
        const QString& text = words.at(1);
        const qulonglong value = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)
            ? text.mid(2).toULongLong(&ok, 16)
            : text.startsWith(QLatin1String("0b"), Qt::CaseInsensitive) ? text.mid(2).toULongLong(&ok, 2)
                                                                        : text.toULongLong(&ok, 10);
        if (!ok)
            return printErr(QStringLiteral("'%1' is not a number (decimal, 0x.., 0b..)").arg(text));
        if (value > widthMask)
            return printErr(QStringLiteral("%1 is wider than %2 bits").arg(text).arg(bits));
        const auto v = static_cast<std::uint32_t>(value);
        const int code = bits == 8 ? PROBE_Write8(g_target.handle, address, static_cast<std::uint8_t>(v))
            : bits == 16           ? PROBE_Write16(g_target.handle, address, static_cast<std::uint16_t>(v))
                                   : PROBE_Write32(g_target.handle, address, v);
        if (code != 0)
            return printErr(QStringLiteral("%1 %2: host error %3").arg(command, words.first()).arg(code));
        return true;
    }
    long count = 1;
    if (words.size() == 2) {
        bool ok = false;
        const QString& text = words.at(1);
        count = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? text.mid(2).toLong(&ok, 16)
                                                                          : text.toLong(&ok, 10);
        if (!ok || count < 1 || count > 65536)
            return printErr(QStringLiteral("the count is a number from 1 to 65536"));
    } else if (words.size() > 2) {
        return printErr(usage);
    }
    if (static_cast<std::uint64_t>(address) + static_cast<std::uint64_t>(count) * bytes > 0x100000000ull)
        return printErr(QStringLiteral("the read goes past the end of the address space"));
    const int perLine = 16 / bytes;
    QString line;
    for (long i = 0; i < count; ++i) {
        if (g_interrupted) {
            if (!line.isEmpty())
                printOut(line);
            return printErr(QStringLiteral("interrupted"));
        }
        const std::uint32_t at = address + static_cast<std::uint32_t>(i * bytes);
        std::uint32_t value = 0;
        int code = 0;
        if (bits == 8) {
            std::uint8_t v = 0;
            code = PROBE_Read8(g_target.handle, at, &v);
            value = v;
        } else if (bits == 16) {
            std::uint16_t v = 0;
            code = PROBE_Read16(g_target.handle, at, &v);
            value = v;
        } else {
            code = PROBE_Read32(g_target.handle, at, &value);
        }
        if (code != 0) {
            if (!line.isEmpty())
                printOut(line);
            return printErr(
                QStringLiteral("%1 0x%2: host error %3")
                    .arg(command, QString::number(at, 16).toUpper().rightJustified(8, QLatin1Char('0')))
                    .arg(code));
        }
        if (i % perLine == 0) {
            if (!line.isEmpty())
                printOut(line);
            line = QStringLiteral("0x%1:").arg(
                QString::number(at, 16).toUpper().rightJustified(8, QLatin1Char('0')));
        }
        line += QStringLiteral(" 0x")
            + QString::number(value, 16).toUpper().rightJustified(bytes * 2, QLatin1Char('0'));
    }
    printOut(line);
    return true;
}

bool runElementLine(const QString& word, QStringList arguments)
{
    const int dot = word.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0) {
        QString error;
        if (arguments.isEmpty() && resolve(word, error))
            return listCompletions(word);
        return printErr(QStringLiteral("unknown command '%1': element commands follow a path (UART0.CR1.r); "
                                       "'help' lists the shell's own")
                            .arg(word));
    }
    QString error;
    const PathTarget target = resolve(word.left(dot), error);
    const QString command = word.mid(dot + 1);
    if (!target)
        return printErr(error);
    if (!isCommandOf(target, command)) {
        // Not PATH.COMMAND: a path alone lists what may follow it.
        if (arguments.isEmpty() && !command.isEmpty() && resolve(word, error))
            return listCompletions(word);
        if (command.isEmpty())
            return listCompletions(word);
        return printErr(QStringLiteral("%1 has no command '%2'").arg(word.left(dot), command));
    }
    DisplayType format = g_session.format;
    if (!arguments.isEmpty() && parseFormat(arguments.last(), format))
        arguments.removeLast();
    // Arguments may be written as the completion entry lists them: "cacheval,value".
    QStringList values;
    for (const QString& argument : arguments)
        values += argument.split(QLatin1Char(','), Qt::SkipEmptyParts);
    const HwCommandResult result = target.group
        ? runBitGroupCommand(*target.group, command, values, g_target)
        : runElementCommand(target.element, command, values, g_target);
    if (!result.ok())
        return printErr(word + QStringLiteral(": ") + commandStatusText(result));
    HwXMLElement* element = target.element;
    if (command == QLatin1String(">")) {
        printOut(result.element ? result.element->getPath() : QString());
    } else if (command == QLatin1String("doc") || command == QLatin1String("address")) {
        printOut(result.text);
    } else if (target.group && result.hasValue) {
        // r and rf print the group's value; w, wf, set and clear print nothing.
        if (!result.text.isEmpty())
            printOut(formatGroupValue(*target.group, result.value, format));
    } else if (command == QLatin1String("r") || command == QLatin1String("rf")
        || command == QLatin1String("rl")) {
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
                                "  show PATH|ADDRESS [hex|dec|bin]\n"
                                "                      read and decode a register, or every register below\n"
                                "  find ADDRESS        the element at an address\n"
                                "  read8|read16|read32 ADDRESS [COUNT]\n"
                                "  write8|write16|write32 ADDRESS VALUE\n"
                                "                      memory by address, one access of that width each\n"
                                "  format hex|dec|bin  how values print (now: %s)\n"
                                "  reset               every register back to its reset value (simulated\n"
                                "                      target)\n"
                                "  reconnect           connect to the GDB server again now (a lost\n"
                                "                      connection is made again by the next access anyway)\n"
                                "  help                this text\n"
                                "  quit                leave (also end of input)\n";

const char* const kShellWords[] = {"find", "format", "help", "ls", "quit", "read16", "read32", "read8",
    "reconnect", "reset", "show", "write16", "write32", "write8"};

/// The GDB server behind the shell's target, or null on any other target.
host::GdbRemoteBackend* gdbTarget()
{
    return dynamic_cast<host::GdbRemoteBackend*>(host::backendOf(g_target.handle));
}

/// Runs one line. Returns false when it failed; sets `quit` when the shell should end.
bool runLine(const QString& line, bool& quit)
{
    QStringList words = line.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
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
        if (words.size() != 1 || !parseFormat(words.first(), g_session.format))
            return printErr(QStringLiteral("format takes hex, dec or bin"));
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
    if (first == QLatin1String("reconnect")) {
        host::GdbRemoteBackend* gdb = gdbTarget();
        if (!gdb)
            return printErr(QStringLiteral("reconnect works on a GDB server target only"));
        if (!words.isEmpty())
            return printErr(QStringLiteral("reconnect takes no arguments"));
        std::string error;
        if (!gdb->reconnect(error))
            return printErr(QString::fromStdString(error));
        printOut(QStringLiteral("connected to %1").arg(QString::fromStdString(gdb->describe())));
        return true;
    }
    if (first == QLatin1String("ls")) {
        if (words.size() > 1)
            return printErr(QStringLiteral("ls takes at most one path"));
        return listCompletions(words.isEmpty() ? QString() : words.first());
    }
    if (first == QLatin1String("show"))
        return showLine(words);
    if (first == QLatin1String("find"))
        return findLine(words);
    for (const char* memory : {"read8", "read16", "read32", "write8", "write16", "write32"})
        if (first == QLatin1String(memory))
            return memoryLine(first, words);
    return runElementLine(first, words);
}

/// Runs one line as runLine does, and says so when it lost the connection to a GDB server: the command
/// that met the loss failed with its host error (40 closed, 41 timed out), and the next access connects
/// again on its own.
bool runLineOnTarget(const QString& line, bool& quit)
{
    host::GdbRemoteBackend* gdb = gdbTarget();
    const bool wasConnected = gdb && gdb->connected();
    const bool ok = runLine(line, quit);
    if (wasConnected && !gdb->connected()) {
        std::fflush(stdout);
        const std::string where = g_lineNumber > 0 ? "line " + std::to_string(g_lineNumber) + ": " : "";
        std::fprintf(stderr,
            "%snote: the connection to %s was lost; the next access connects again ('reconnect' does it "
            "now)\n",
            where.c_str(), gdb->describe().c_str());
    }
    return ok;
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

/// What may complete a path, as whole words: the members and commands after its last dot, or the
/// instances, and the items of an array once its name is typed.
QStringList pathCompletions(const QString& text)
{
    const QString prefix = text.left(text.lastIndexOf(QLatin1Char('.')) + 1);
    QStringList matches;
    for (const PathCompletion& offer : completePath(*g_session.map, text))
        matches << (prefix.isEmpty() && text.startsWith(QLatin1Char('$')) ? QStringLiteral("$") : prefix)
                + offer.name;
    return matches;
}

/// What may complete the word `text`: a path (or a shell command) as the first word or after ls and show;
/// after an element command, the option names of the field it writes and the formats.
QStringList completionsFor(const QString& text, const QString& lineBefore)
{
    QStringList matches;
    const QString first = lineBefore.trimmed().section(QLatin1Char(' '), 0, 0);
    if (first == QLatin1String("ls") || first == QLatin1String("show"))
        return pathCompletions(text);
    if (!first.isEmpty()) {
        const int dot = first.lastIndexOf(QLatin1Char('.'));
        QString error;
        const PathTarget target =
            dot > 0 ? resolvePath(*g_session.map, first.left(dot), error) : PathTarget();
        if (target.element && target.element->isBitfield()) {
            for (const HwBitFieldOption& option : static_cast<HwBitField*>(target.element)->getOptions())
                if (option.name.startsWith(text))
                    matches << option.name;
        }
        for (const char* format : {"hex", "dec", "bin"})
            if (QString::fromLatin1(format).startsWith(text))
                matches << QString::fromLatin1(format);
        return matches;
    }
    matches = pathCompletions(text);
    if (!text.contains(QLatin1Char('.'))) {
        for (const char* word : kShellWords)
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

// Ctrl-C at the prompt cancels the line being edited, as in gdb or bash: the signal interrupts the read of
// the next key, which then ends the line as if Enter had been pressed, and the line is dropped.
bool g_cancelled = false;

void onInterrupt(int)
{
    g_interrupted = 1;
}

int readKey(FILE* stream)
{
    for (;;) {
        unsigned char key = 0;
        const ssize_t got = g_interrupted ? -1 : ::read(fileno(stream), &key, 1);
        if (got == 1 && !g_interrupted)
            return key;
        if (g_interrupted) {
            // Keys typed with the Ctrl-C belong to the cancelled line.
            g_interrupted = 0;
            g_cancelled = true;
            return '\n';
        }
        if (got < 0 && errno == EINTR)
            continue;
        return EOF;
    }
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
    // The shell handles SIGINT itself; the line editor's own handler would end the process.
    rl_catch_signals = 0;
    rl_getc_function = readKey;
    struct sigaction interrupt { };
    interrupt.sa_handler = onInterrupt; // no SA_RESTART: the read of a key must be interrupted
    sigemptyset(&interrupt.sa_mask);
    struct sigaction previous { };
    sigaction(SIGINT, &interrupt, &previous);
    using_history();
    read_history(history.constData());
    const std::string target = g_simulated ? std::string("a simulated target at reset")
                                           : host::backendOf(g_target.handle)->describe();
    std::printf("vellxml shell on %s: %s. Tab completes, 'help' for help.\n",
        g_session.root->getName().toUtf8().constData(), target.c_str());
    bool quit = false;
    while (!quit) {
        g_interrupted = 0;
        g_cancelled = false;
        char* raw = readline("vellxml> ");
        if (g_cancelled) {
            std::free(raw);
            continue;
        }
        if (!raw) {
            std::printf("\n");
            break;
        }
        const QString line = QString::fromUtf8(raw);
        if (!line.trimmed().isEmpty())
            add_history(raw);
        std::free(raw);
        runLineOnTarget(line, quit);
        std::fflush(stdout);
    }
    write_history(history.constData());
    sigaction(SIGINT, &previous, nullptr);
    return ExitOk;
}

int fromPipe()
{
    bool quit = false;
    bool failed = false;
    std::string line;
    while (!quit && std::getline(std::cin, line)) {
        ++g_lineNumber;
        if (!runLineOnTarget(QString::fromStdString(line), quit))
            failed = true;
        std::fflush(stdout);
    }
    g_lineNumber = 0;
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
