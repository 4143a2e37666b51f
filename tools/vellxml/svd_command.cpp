#include "command.h"

#include <vellxml/svd/svd_import.h>

#include <QString>

#include <cstdio>

namespace vellxml::cli {
namespace {

const char importHelp[] = "Usage: vellxml import-svd FILE.svd -o DIR\n"
                          "\n"
                          "Writes into DIR an archive set of this format made from a CMSIS-SVD file: the\n"
                          "root file chip.xml and one archive per peripheral type. Problems worked around\n"
                          "are reported as FILE:LINE:COLUMN: warning: TEXT; what cannot be represented is\n"
                          "an error and leaves DIR untouched. An existing DIR is replaced whole.\n"
                          "\n"
                          "Options:\n"
                          "  -o DIR      the directory to write (required)\n"
                          "  -h, --help  show this help\n";

void printMessage(const char* text)
{
    std::fprintf(stderr, "%s\n", text);
}

int runImport(const std::vector<std::string>& args)
{
    std::string input;
    std::string output;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "-o") {
            if (i + 1 >= args.size())
                return usageError(importSvdCommand, "-o needs a directory");
            output = args[++i];
        } else if (!args[i].empty() && args[i][0] == '-') {
            return usageError(importSvdCommand, "unknown option " + args[i]);
        } else if (input.empty()) {
            input = args[i];
        } else {
            return usageError(importSvdCommand, "import-svd takes one SVD file");
        }
    }
    if (input.empty() || output.empty())
        return usageError(importSvdCommand, "import-svd takes an SVD file and -o DIR");
    HwSvdImportSummary summary;
    if (!importSvdFile(QString::fromStdString(input), QString::fromStdString(output), printMessage,
            printMessage, HwSvdImportLimits(), &summary))
        return ExitFailure;
    std::printf("%s/%s: %d instances, %d types, %lld registers, %lld fields, %d warnings\n", output.c_str(),
        SVD_ROOT_FILE_NAME, summary.peripherals, summary.types, static_cast<long long>(summary.registers),
        static_cast<long long>(summary.fields), summary.warnings);
    return ExitOk;
}

} // namespace

const Command importSvdCommand {
    "import-svd", "make an archive set from a CMSIS-SVD file", importHelp, runImport};

} // namespace vellxml::cli
