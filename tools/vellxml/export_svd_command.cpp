#include "chip.h"
#include "command.h"

#include <vellxml/loader/memory_map.h>
#include <vellxml/svd/svd_export.h>

#include <QString>

#include <cstdio>

namespace vellxml::cli {
namespace {

const char exportSvdHelp[] = "Usage: vellxml export-svd ROOT -o FILE.svd [--name NAME] [--version TEXT]\n"
                             "\n"
                             "Loads the chip description ROOT and writes it as a CMSIS-SVD 1.3 file: one\n"
                             "peripheral per instance, structures as clusters, arrays as dim elements,\n"
                             "options as enumerated values. FILE is written whole or not at all.\n"
                             "What SVD cannot hold (bit groups, memories inside structures ...) is left\n"
                             "out or written in another form, each with a warning on standard error;\n"
                             "docs/svd.md describes the mapping.\n"
                             "\n"
                             "Options:\n"
                             "  -o, --output FILE  the SVD file to write (required)\n"
                             "      --name NAME    the device name (default: ROOT's base name)\n"
                             "      --version TEXT the device description's version (default: 1.0)\n"
                             "  -q, --quiet        do not print the warnings\n"
                             "  -h, --help         show this help\n"
                             "\n"
                             "Exit status: 0 when FILE was written, 1 when ROOT fails to load or FILE\n"
                             "cannot be written, 2 for usage errors.\n";

int runExportSvd(const std::vector<std::string>& args)
{
    std::string root;
    std::string output;
    bool quiet = false;
    HwSvdExportOptions options;
    bool operandsOnly = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const auto value = [&](std::string& into) {
            if (i + 1 >= args.size())
                return false;
            into = args[++i];
            return true;
        };
        std::string text;
        if (operandsOnly || arg == "-" || arg.empty() || arg[0] != '-') {
            if (!root.empty())
                return usageError(exportSvdCommand, "export-svd takes one root file");
            root = arg;
        } else if (arg == "--") {
            operandsOnly = true;
        } else if (arg == "-o" || arg == "--output") {
            if (!value(output))
                return usageError(exportSvdCommand, arg + " needs a file name");
        } else if (arg.rfind("--output=", 0) == 0) {
            output = arg.substr(9);
        } else if (arg == "--name") {
            if (!value(text))
                return usageError(exportSvdCommand, "--name needs a name");
            options.deviceName = QString::fromStdString(text);
        } else if (arg == "--version") {
            if (!value(text))
                return usageError(exportSvdCommand, "--version needs a text");
            options.version = QString::fromStdString(text);
        } else if (arg == "-q" || arg == "--quiet") {
            quiet = true;
        } else {
            return usageError(exportSvdCommand, "unknown option '" + arg + "'");
        }
    }
    if (root.empty())
        return usageError(exportSvdCommand, "export-svd needs a root file");
    if (output.empty())
        return usageError(exportSvdCommand, "export-svd needs an output file (-o FILE.svd)");

    const auto map = loadChip(root, false, LoadMessages::Quiet);
    if (!map)
        return ExitFailure;
    const HwSvdExportResult result = svdExportFile(*map, QString::fromStdString(output), options);
    if (!quiet)
        for (const QString& warning : result.warnings)
            std::fprintf(stderr, "%s: warning: %s\n", output.c_str(), warning.toUtf8().constData());
    if (!result) {
        printError(result.error.toStdString());
        return ExitFailure;
    }
    return ExitOk;
}

} // namespace

const Command exportSvdCommand {
    "export-svd", "write a chip as a CMSIS-SVD file", exportSvdHelp, runExportSvd};

} // namespace vellxml::cli
