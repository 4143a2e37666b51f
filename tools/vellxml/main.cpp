#include "command.h"

#include <vellxml/version.h>

#include <cstring>

namespace vellxml::cli {

const std::vector<Command>& commands()
{
    static const std::vector<Command> all {checkCommand, listCommand, getCommand, completeCommand, genCommand,
        shellCommand, evalCommand, encryptCommand, decryptCommand, importSvdCommand,
        exportSvdCommand};
    return all;
}

void printError(const std::string& message)
{
    std::fprintf(stderr, "vellxml: %s\n", message.c_str());
}

int usageError(const Command& command, const std::string& message)
{
    printError(message);
    std::fprintf(stderr, "Try 'vellxml %s --help' for more information.\n", command.name);
    return ExitUsage;
}

bool isHelpOption(const std::string& arg)
{
    return arg == "--help" || arg == "-h";
}

namespace {

void printToolHelp(std::FILE* out)
{
    std::fprintf(out,
        "Usage: vellxml COMMAND [ARGS...]\n"
        "\n"
        "Works with chip memory-map descriptions.\n"
        "\n"
        "Commands:\n");
    for (const Command& command : commands())
        std::fprintf(out, "  %-10s %s\n", command.name, command.summary);
    std::fprintf(out,
        "\n"
        "Options:\n"
        "  -h, --help     show this help, or a command's help after its name\n"
        "      --version  show the version\n"
        "\n"
        "Exit status: 0 on success, 1 when an operation fails, 2 for usage errors.\n");
}

} // namespace
} // namespace vellxml::cli

int main(int argc, char** argv)
{
    using namespace vellxml::cli;

    if (argc < 2) {
        printToolHelp(stderr);
        return ExitUsage;
    }
    const std::string first = argv[1];
    if (isHelpOption(first)) {
        printToolHelp(stdout);
        return ExitOk;
    }
    if (first == "--version") {
        std::printf("vellxml %s\n", vellxml::versionString());
        return ExitOk;
    }

    for (const Command& command : commands()) {
        if (first != command.name)
            continue;
        const std::vector<std::string> args(argv + 2, argv + argc);
        for (const std::string& arg : args) {
            if (arg == "--")
                break;
            if (isHelpOption(arg)) {
                std::fputs(command.help, stdout);
                return ExitOk;
            }
        }
        return command.run(args);
    }

    printError("unknown command '" + first + "'");
    std::fprintf(stderr, "Try 'vellxml --help' for the list of commands.\n");
    return ExitUsage;
}
