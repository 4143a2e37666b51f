#include "command.h"

#include <vellxml/loader/document.h>

#include <QString>

namespace vellxml::cli {
namespace {

const char encryptHelp[] = "Usage: vellxml encrypt INPUT OUTPUT\n"
                           "\n"
                           "Writes OUTPUT, the encrypted form (.xmd) of the plain archive INPUT, with the\n"
                           "key this library was built with (CMake option VELLXML_AES_KEY). Only a library\n"
                           "built with the same key reads it.\n"
                           "\n"
                           "Options:\n"
                           "  -h, --help  show this help\n";

void printMessage(const char* text)
{
    printError(text);
}

int runEncrypt(const std::vector<std::string>& args)
{
    if (args.size() != 2)
        return usageError(encryptCommand, "encrypt takes an input and an output file");
    if (!encryptXMLDocument(QString::fromStdString(args[0]), QString::fromStdString(args[1]), printMessage,
            printMessage, printMessage))
        return ExitFailure;
    return ExitOk;
}

const char decryptHelp[] = "Usage: vellxml decrypt INPUT OUTPUT\n"
                           "\n"
                           "Writes OUTPUT, the plain archive held by the encrypted archive (.xmd) INPUT,\n"
                           "byte for byte as it was encrypted. Needs a library built with the same key.\n"
                           "OUTPUT is written whole or not at all.\n"
                           "\n"
                           "Options:\n"
                           "  -h, --help  show this help\n";

int runDecrypt(const std::vector<std::string>& args)
{
    if (args.size() != 2)
        return usageError(decryptCommand, "decrypt takes an input and an output file");
    if (!decryptXMLDocument(QString::fromStdString(args[0]), QString::fromStdString(args[1]), printMessage,
            printMessage, printMessage))
        return ExitFailure;
    return ExitOk;
}

} // namespace

const Command decryptCommand {
    "decrypt", "decrypt an .xmd file into its plain archive", decryptHelp, runDecrypt};

const Command encryptCommand {
    "encrypt", "encrypt a plain archive into an .xmd file", encryptHelp, runEncrypt};

} // namespace vellxml::cli
