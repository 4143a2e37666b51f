// vellxml get and vellxml complete: one element, and what may follow a path.
#include "chip.h"
#include "command.h"
#include "register_view.h"

#include <vellxml/access/commands.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/bitfield.h>

#include <QByteArray>
#include <QString>

#include <cstdio>

namespace vellxml::cli {
namespace {

const char getHelp[] = "Usage: vellxml get ROOT PATH|ADDRESS\n"
                       "\n"
                       "Prints everything about the element PATH of the description ROOT: its\n"
                       "documentation (path, type, address, protection or access, reset value, fields\n"
                       "or options, comment), then its kind and size. PATH is dotted, as `vellxml list`\n"
                       "prints it (the leading $ may be left out): UART0.CR1, UART0.CR1.UE, DMA1.CH[2],\n"
                       "or a bit group, UART0.ISR.ERRORS. Nothing may follow a bitfield or a bit group.\n"
                       "An ADDRESS (0x4000440C) names the innermost element that holds it: a register,\n"
                       "or a reserved gap, a memory, a structure.\n"
                       "\n"
                       "Options:\n"
                       "  -h, --help  show this help\n"
                       "\n"
                       "Exit status: 0 when PATH names an element, 1 when it does not or ROOT fails to\n"
                       "load, 2 for usage errors.\n";

const char completeHelp[] = "Usage: vellxml complete ROOT PARTIAL\n"
                            "\n"
                            "Prints what may complete the path PARTIAL in the description ROOT: the\n"
                            "entries after its last dot that begin with what follows that dot (after\n"
                            "\"UART0.CR\", the members and commands of UART0 that begin with \"CR\"; after\n"
                            "\"UART0.CR1.\", everything that follows UART0.CR1; without a dot, the\n"
                            "instances). Once an array's name is typed, its items follow its entry:\n"
                            "\"DMA1.CH[\" offers CH[0], CH[1] ..., as the shell's Tab does. One entry per\n"
                            "line, tab-separated:\n"
                            "\n"
                            "  NAME  KIND  ARGUMENTS  RESULT  HELP\n"
                            "\n"
                            "KIND is 0 for a command, else the kind of element (1 a 32-bit register ...).\n"
                            "\n"
                            "Options:\n"
                            "  -h, --help  show this help\n";

const char* kindName(XMLElementType type)
{
    switch (type) {
    case TYPE_HOLE:
        return "reserved gap";
    case TYPE_VALUABLE:
        return "valuable";
    case TYPE_REG32:
        return "32-bit register";
    case TYPE_REG16:
        return "16-bit register";
    case TYPE_REG8:
        return "8-bit register";
    case TYPE_IREG8:
        return "8-bit internal register";
    case TYPE_BITFIELD:
        return "bitfield";
    case TYPE_POINTER:
        return "pointer";
    case TYPE_INT32:
        return "32-bit signed integer";
    case TYPE_INT16:
        return "16-bit signed integer";
    case TYPE_INT8:
        return "8-bit signed integer";
    case TYPE_UINT32:
        return "32-bit unsigned integer";
    case TYPE_UINT16:
        return "16-bit unsigned integer";
    case TYPE_UINT8:
        return "8-bit unsigned integer";
    case TYPE_BOOL:
        return "boolean";
    case TYPE_STRUCT:
        return "structure";
    case TYPE_ARRAY:
        return "array";
    case TYPE_MEMORY:
        return "memory";
    case TYPE_ARCHIVE:
        return "archive";
    case TYPE_ROOTARCHIVE:
        return "root archive";
    case TYPE_VOID:
        return "void";
    case TYPE_EXTERNAL:
        return "external";
    }
    return "element";
}

void writeText(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
}

int runGet(const std::vector<std::string>& args)
{
    std::vector<std::string> operands;
    if (const int status = parseOperands(getCommand, args, 2, "a root file and a path", operands, nullptr);
        status != ExitOk)
        return status;
    const std::string& root = operands[0];
    const std::string& path = operands[1];
    const auto map = loadChip(root, false, LoadMessages::Quiet);
    if (!map)
        return ExitFailure;
    const QString operand = QString::fromStdString(path);
    std::uint32_t address = 0;
    PathTarget target;
    if (parseAddress(operand, address)) {
        target.element = elementAtAddress(*map, address);
        if (!target.element) {
            printError("no element at " + path + " in " + root);
            return ExitFailure;
        }
    } else {
        QString error;
        target = resolvePath(*map, operand, error);
        if (!target) {
            printError(error.toStdString() + " in " + root);
            return ExitFailure;
        }
    }
    if (target.group) {
        writeText(HwCommands::documentation(*target.group)
            + QStringLiteral("Kind: bit group\nSize: %1 bit%2\n")
                  .arg(target.group->getTotalBits())
                  .arg(target.group->getTotalBits() == 1 ? "" : "s"));
        return std::fflush(stdout) == 0 ? ExitOk : ExitFailure;
    }
    HwXMLElement* element = target.element;
    QString text = HwCommands::documentation(*element);
    if (text.startsWith(QLatin1Char('\n'))) // a reserved gap: no path of its own
        text.prepend(QLatin1Char('$') + userPath(*element));
    if (!text.endsWith(QLatin1Char('\n')))
        text += QLatin1Char('\n');
    text += QStringLiteral("Kind: %1\n").arg(QString::fromLatin1(kindName(element->getType())));
    if (element->isBitfield())
        text += QStringLiteral("Size: %1 bit%2\n")
                    .arg(element->getBitSize())
                    .arg(element->getBitSize() == 1 ? "" : "s");
    else
        text +=
            QStringLiteral("Size: %1 byte%2\n").arg(element->sizeOf()).arg(element->sizeOf() == 1 ? "" : "s");
    writeText(text);
    return std::fflush(stdout) == 0 ? ExitOk : ExitFailure;
}

int runComplete(const std::vector<std::string>& args)
{
    std::vector<std::string> operands;
    if (const int status =
            parseOperands(completeCommand, args, 2, "a root file and a path", operands, nullptr);
        status != ExitOk)
        return status;
    const std::string& root = operands[0];
    const std::string& partial = operands[1];
    const auto map = loadChip(root, false, LoadMessages::Quiet);
    if (!map)
        return ExitFailure;
    QString out;
    for (const PathCompletion& offer : completePath(*map, QString::fromStdString(partial))) {
        const CXMLCompletionEntry& entry = offer.entry;
        // One line per entry: tabs and line breaks inside a text would split it.
        const auto field = [](QString value) {
            value.replace(QLatin1Char('\t'), QLatin1Char(' '));
            value.replace(QLatin1Char('\n'), QLatin1Char(' '));
            return value;
        };
        out += field(offer.name) + QLatin1Char('\t') + QString::number(entry.kind) + QLatin1Char('\t')
            + field(entry.arguments) + QLatin1Char('\t') + field(entry.result) + QLatin1Char('\t')
            + field(commentToPlainLines(entry.help).join(QLatin1Char(' '))) + QLatin1Char('\n');
    }
    writeText(out);
    return std::fflush(stdout) == 0 ? ExitOk : ExitFailure;
}

} // namespace

const Command getCommand {"get", "show everything about one element", getHelp, runGet};
const Command completeCommand {"complete", "list what may complete a path", completeHelp, runComplete};

} // namespace vellxml::cli
