#include "chip.h"
#include "command.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QByteArray>

#include <cstdio>

namespace vellxml::cli {
namespace {

const char listHelp[] = "Usage: vellxml list ROOT [--soft]\n"
                        "\n"
                        "Prints every element reachable from the instances of the description ROOT, in\n"
                        "tree order: each instance, its members, array items and the bitfields of each\n"
                        "register (what pointers point to is not expanded; reserved gaps and externals,\n"
                        "which have no path, are left out).\n"
                        "One line each, with tabs:\n"
                        "\n"
                        "  PATH  TYPE  ADDRESS  SIZE (bytes, decimal) or UP:DOWN for a bitfield\n"
                        "\n"
                        "Options:\n"
                        "      --soft  load ROOT as a soft (software) description rather than a chip\n"
                        "  -h, --help  show this help\n";

void printLine(const QString& path, const QString& type, const QString& address, const QString& size)
{
    const QByteArray line = (path + QLatin1Char('\t') + type + QLatin1Char('\t') + address + QLatin1Char('\t')
        + size + QLatin1Char('\n'))
                                .toUtf8();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
}

void listElement(HwXMLElement& element)
{
    const QString path = element.getPath();
    if (path.isEmpty())
        return; // reserved gaps and externals have no path to give
    printLine(path, element.getTypeString(), element.getAddressString(), QString::number(element.sizeOf()));
    if (!element.isValuable())
        return;
    for (const auto& field : static_cast<HwValuable&>(element).getBitFields())
        printLine(field->getPath(), field->getTypeString(), field->getAddressString(),
            QStringLiteral("%1:%2").arg(field->getUpPos()).arg(field->getDownPos()));
}

int runList(const std::vector<std::string>& args)
{
    std::vector<std::string> operands;
    bool soft = false;
    if (const int status = parseOperands(listCommand, args, 1, "one root file", operands, &soft);
        status != ExitOk)
        return status;
    const std::string& root = operands[0];
    const auto map = loadChip(root, soft, LoadMessages::Quiet);
    if (!map)
        return ExitFailure;
    for (HwXMLElement* instance : rootOf(*map, soft)->getInstanciatedTemplates())
        forEachElement(*instance, listElement);
    return std::fflush(stdout) == 0 ? ExitOk : ExitFailure;
}

} // namespace

const Command listCommand {"list", "list every element of a description", listHelp, runList};

} // namespace vellxml::cli
