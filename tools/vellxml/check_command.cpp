#include "chip.h"
#include "command.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/description_checks.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

namespace vellxml::cli {
namespace {

const char checkHelp[] =
    "Usage: vellxml check ROOT [--soft] [--strict] [--no-warn CODE]...\n"
    "\n"
    "Loads the description whose root file is ROOT, with every archive it includes,\n"
    "checks it for mistakes the format accepts (a field beyond its register, fields\n"
    "sharing bits, a misspelt attribute that is ignored, ...) and reports. The loader's\n"
    "messages go to standard error, one per line: errors and warnings as\n"
    "FILE:LINE:COLUMN: error: TEXT (or warning:), so that editors can jump to them;\n"
    "a check's warning ends with its code in brackets. A summary line goes to\n"
    "standard output. docs/checks.md describes every code.\n"
    "\n"
    "Options:\n"
    "      --soft          load ROOT as a soft (software) description rather than a chip\n"
    "      --strict        warnings are errors: reported as such, and the exit status is 1\n"
    "      --no-warn CODE  do not report the check CODE (repeatable)\n"
    "  -h, --help          show this help\n"
    "\n"
    "Exit status: 0 when it loads, 1 when it does not (or, with --strict, when it\n"
    "warns), 2 for usage errors.\n";

int runCheck(const std::vector<std::string>& args)
{
    std::vector<std::string> operands;
    std::vector<std::string> rest;
    bool soft = false;
    LoadChecks checks;
    checks.enabled = true;
    const QStringList codes = HwDescriptionChecks::codes();
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--") {
            rest.insert(rest.end(), args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
            break;
        }
        if (arg == "--strict") {
            checks.warningsAsErrors = true;
            continue;
        }
        std::string code;
        if (arg == "--no-warn") {
            if (i + 1 == args.size())
                return usageError(checkCommand, "--no-warn needs a code");
            code = args[++i];
        } else if (arg.rfind("--no-warn=", 0) == 0) {
            code = arg.substr(10);
        } else {
            rest.push_back(arg);
            continue;
        }
        if (!codes.contains(QString::fromStdString(code)))
            return usageError(checkCommand,
                "unknown check code '" + code + "' (codes: " + codes.join(QStringLiteral(", ")).toStdString()
                    + ")");
        checks.silenced.push_back(code);
    }
    if (const int status = parseOperands(checkCommand, rest, 1, "one root file", operands, &soft);
        status != ExitOk)
        return status;
    const std::string& root = operands[0];

    setLoadChecks(checks);
    LoadCounts counts;
    const auto map = loadChip(root, soft, LoadMessages::Log, &counts);
    setLoadChecks(LoadChecks());
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
    const bool refused = checks.warningsAsErrors && counts.warnings > 0;
    std::printf("%s: %s, %zu archive%s, %zu instance%s, %lu element%s, %lu bitfield%s, %d warning%s\n",
        root.c_str(), refused ? "failed (--strict)" : "ok", chip->getArchives().size(),
        chip->getArchives().size() == 1 ? "" : "s", instances.size(), instances.size() == 1 ? "" : "s",
        elements, elements == 1 ? "" : "s", bitfields, bitfields == 1 ? "" : "s", counts.warnings,
        counts.warnings == 1 ? "" : "s");
    return refused ? ExitFailure : ExitOk;
}

} // namespace

const Command checkCommand {"check", "load a description and report its errors", checkHelp, runCheck};

} // namespace vellxml::cli
