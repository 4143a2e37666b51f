#include "chip.h"
#include "command.h"

#include <vellxml/diagnostic.h>
#include <vellxml/loader/memory_map.h>

#include <QDir>
#include <QString>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vellxml::cli {
namespace {

const char genHelp[] =
    "Usage: vellxml gen ROOT -o DIR [OUTPUTS] [OPTIONS]\n"
    "\n"
    "Loads the description ROOT and writes its outputs under DIR (made if needed),\n"
    "each archive's files at the archive's relative path. The generators' progress\n"
    "lines go to standard output. Every file is written whole or not at all.\n"
    "\n"
    "Outputs (none given: all of them):\n"
    "      --c          C headers (NAME.h)\n"
    "      --asm        assembly headers (NAME_asm.h) of the archives that ask for them\n"
    "      --asm-arm    ARM assembly headers (NAME_asm_arm.h) of the same archives\n"
    "      --vhdl       VHDL packages (NAME.vhd)\n"
    "      --html       browsable documentation (DIR/index.html)\n"
    "\n"
    "Options:\n"
    "  -o, --output DIR         where to write (required)\n"
    "      --bitfields none|le|be|both\n"
    "                           bitfield unions in the C headers: none, little-endian,\n"
    "                           big-endian or both (default: none)\n"
    "      --ignore-reserved    leave reserved fields out of the bitfield unions\n"
    "      --force-mask-shift   value, _MASK and _SHIFT macros for every bitfield\n"
    "      --skip-up-to-date    keep a header that is newer than its description\n"
    "      --soft               ROOT is a soft (software) description (C and assembly only)\n"
    "  -h, --help               show this help\n"
    "\n"
    "Exit status: 0 when every file was written, 1 when ROOT fails to load or some\n"
    "file was not written, 2 for usage errors.\n";

struct GenOptions {
    std::string root;
    std::string output;
    bool c = false;
    bool assembly = false;
    bool assemblyArm = false;
    bool vhdl = false;
    bool html = false;
    unsigned int bitfields = 0;
    bool ignoreReserved = false;
    bool forceMaskShift = false;
    bool skipUpToDate = false;
    bool soft = false;
};

int parse(const std::vector<std::string>& args, GenOptions& options)
{
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const auto value = [&](std::string& into) {
            if (i + 1 >= args.size())
                return false;
            into = args[++i];
            return true;
        };
        std::string text;
        if (arg == "-o" || arg == "--output") {
            if (!value(options.output))
                return usageError(genCommand, arg + " needs a directory");
        } else if (arg.rfind("--output=", 0) == 0) {
            options.output = arg.substr(9);
        } else if (arg == "--c") {
            options.c = true;
        } else if (arg == "--asm") {
            options.assembly = true;
        } else if (arg == "--asm-arm") {
            options.assemblyArm = true;
        } else if (arg == "--vhdl") {
            options.vhdl = true;
        } else if (arg == "--html") {
            options.html = true;
        } else if (arg == "--bitfields" || arg.rfind("--bitfields=", 0) == 0) {
            if (arg == "--bitfields") {
                if (!value(text))
                    return usageError(genCommand, "--bitfields needs none, le, be or both");
            } else {
                text = arg.substr(12);
            }
            const char* const modes[] = {"none", "le", "be", "both"};
            bool known = false;
            for (unsigned int mode = 0; mode < 4; ++mode)
                if (text == modes[mode]) {
                    options.bitfields = mode;
                    known = true;
                }
            if (!known)
                return usageError(genCommand, "--bitfields takes none, le, be or both, not '" + text + "'");
        } else if (arg == "--ignore-reserved") {
            options.ignoreReserved = true;
        } else if (arg == "--force-mask-shift") {
            options.forceMaskShift = true;
        } else if (arg == "--skip-up-to-date") {
            options.skipUpToDate = true;
        } else if (arg == "--soft") {
            options.soft = true;
        } else if (arg.size() > 1 && arg[0] == '-') {
            return usageError(genCommand, "unknown option '" + arg + "'");
        } else if (options.root.empty()) {
            options.root = arg;
        } else {
            return usageError(genCommand, "gen takes one root file");
        }
    }
    if (options.root.empty())
        return usageError(genCommand, "gen needs a root file");
    if (options.output.empty())
        return usageError(genCommand, "gen needs an output directory (-o DIR)");
    if (!options.c && !options.assembly && !options.assemblyArm && !options.vhdl && !options.html)
        options.c = options.assembly = options.assemblyArm = options.vhdl = options.html = true;
    if (options.soft && (options.vhdl || options.html)
        && !(options.c || options.assembly || options.assemblyArm))
        return usageError(genCommand, "a soft description has C and assembly headers only");
    return ExitOk;
}

int runGen(const std::vector<std::string>& args)
{
    GenOptions options;
    if (const int status = parse(args, options); status != ExitOk)
        return status;
    const QString dir = QString::fromStdString(options.output);
    if (!QDir().mkpath(dir)) {
        printError("cannot make the output directory " + options.output + ": " + std::strerror(errno));
        return ExitFailure;
    }
    const auto map = loadChip(options.root, options.soft, LoadMessages::Quiet);
    if (!map)
        return ExitFailure;

    HwMemoryMap::m_bitfieldGen = options.bitfields;
    HwMemoryMap::m_bitfieldGenIgnoreReserved = options.ignoreReserved;
    HwMemoryMap::m_forceMaskShift = options.forceMaskShift;
    map->setSkipNewerHeaders(options.skipUpToDate);
    map->setGenerateArmAsm(options.assemblyArm);
    map->setHeaderKinds(options.c, options.assembly);

    bool complete = true;
    Progress progress("generating");
    // Each file that is not written is named with the reason, on standard error.
    vellxml::DiagnosticFunctionSink printer([&progress](const vellxml::Diagnostic& diagnostic) {
        progress.finish();
        std::fprintf(stderr, "%s\n", diagnostic.description().toUtf8().constData());
    });
    if (options.c || options.assembly || options.assemblyArm) {
        progress.step("headers");
        complete = map->generateCHeaders(dir, !options.soft, &printer) && complete;
    }
    if (options.vhdl && !options.soft) {
        progress.step("VHDL packages");
        complete = map->generateVHDL(dir, &printer) && complete;
    }
    if (options.html && !options.soft) {
        progress.step("documentation");
        if (!map->generateDocumentation(dir, printer)) {
            complete = false;
        } else {
            std::fflush(stdout);
            std::printf(
                "Documentation: %s\n", QDir(dir).filePath(QStringLiteral("index.html")).toUtf8().constData());
        }
    }
    progress.finish();
    std::fflush(stdout);
    if (!complete) {
        printError("some files were not written");
        return ExitFailure;
    }
    return ExitOk;
}

} // namespace

const Command genCommand {"gen", "write C, assembly, VHDL and HTML outputs", genHelp, runGen};

} // namespace vellxml::cli
