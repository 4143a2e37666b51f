#ifndef VELLXML_TOOLS_COMMAND_H
#define VELLXML_TOOLS_COMMAND_H

#include <cstdio>
#include <string>
#include <vector>

namespace vellxml::cli {

/// Exit statuses of the tool, as scripts see them.
enum ExitStatus : int {
    ExitOk = 0,
    ExitFailure = 1, ///< a description failed to load or an operation failed
    ExitUsage = 2, ///< the command line itself is wrong
};

/// One subcommand: `vellxml NAME ARGS...`.
struct Command {
    const char* name;
    const char* summary; ///< one line for `vellxml --help`
    const char* help; ///< the full text for `vellxml NAME --help`
    int (*run)(const std::vector<std::string>& args); ///< args exclude the subcommand's name
};

/// Every subcommand, in the order `vellxml --help` lists them.
const std::vector<Command>& commands();

/// Prints "vellxml: MESSAGE" on standard error followed by a hint to the help, and returns ExitUsage.
int usageError(const Command& command, const std::string& message);

/// Prints "vellxml: MESSAGE" on standard error.
void printError(const std::string& message);

bool isHelpOption(const std::string& arg);

extern const Command checkCommand;
extern const Command listCommand;
extern const Command getCommand;
extern const Command completeCommand;
extern const Command genCommand;
extern const Command shellCommand;
extern const Command evalCommand;
extern const Command encryptCommand;
extern const Command decryptCommand;
extern const Command importSvdCommand;
extern const Command exportSvdCommand;

} // namespace vellxml::cli

#endif
