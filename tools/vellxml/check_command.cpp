#include "chip.h"
#include "command.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

namespace vellxml::cli {
namespace {

const char checkHelp[] = "Usage: vellxml check ROOT [--soft]\n"
                         "\n"
                         "Loads the description whose root file is ROOT, with every archive it includes,\n"
                         "and reports. The loader's messages go to standard error, one per line:\n"
                         "errors and warnings as FILE:LINE:COLUMN: error: TEXT (or warning:), so that\n"
                         "editors can jump to them. A summary line goes to standard output.\n"
                         "\n"
                         "Options:\n"
                         "      --soft  load ROOT as a soft (software) description rather than a chip\n"
                         "  -h, --help  show this help\n"
                         "\n"
                         "Exit status: 0 when it loads, 1 when it does not, 2 for usage errors.\n";

int runCheck(const std::vector<std::string>& args)
{
    std::vector<std::string> operands;
    bool soft = false;
    if (const int status = parseOperands(checkCommand, args, 1, "one root file", operands, &soft);
        status != ExitOk)
        return status;
    const std::string& root = operands[0];

    LoadCounts counts;
    const auto map = loadChip(root, soft, LoadMessages::Log, &counts);
    if (!map) {
        std::printf("%s: failed to load (%d error%s, %d warning%s)\n", root.c_str(), counts.errors,
            counts.errors == 1 ? "" : "s", counts.warnings, counts.warnings == 1 ? "" : "s");
        return ExitFailure;
    }
    const HwRootArchive* chip = rootOf(*map, soft);
    unsigned long elements = 0;
    unsigned long bitfields = 0;
    const auto instances = chip->getInstanciatedTemplates();
    for (HwXMLElement* instance : instances)
        forEachElement(*instance, [&](HwXMLElement& element) {
            ++elements;
            if (element.isValuable())
                bitfields += static_cast<const HwValuable&>(element).getBitFields().size();
        });
    std::printf("%s: ok, %zu archive%s, %zu instance%s, %lu element%s, %lu bitfield%s, %d warning%s\n",
        root.c_str(), chip->getArchives().size(), chip->getArchives().size() == 1 ? "" : "s",
        instances.size(), instances.size() == 1 ? "" : "s", elements, elements == 1 ? "" : "s", bitfields,
        bitfields == 1 ? "" : "s", counts.warnings, counts.warnings == 1 ? "" : "s");
    return ExitOk;
}

} // namespace

const Command checkCommand {"check", "load a description and report its errors", checkHelp, runCheck};

} // namespace vellxml::cli
