// vellxml_model_digest: prints the canonical digest (tests/svd/digest.h) of a loaded chip, or of an SVD
// file, one line per register and field, so that two descriptions of one chip compare with diff.
#include "digest.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QFile>

#include <cstdio>
#include <cstring>

namespace {

void printLine(const char* text)
{
    std::fprintf(stderr, "%s\n", text);
}

int usage()
{
    std::fputs("Usage: vellxml_model_digest [--svd-names] ROOT\n"
               "       vellxml_model_digest --svd-file FILE.svd\n"
               "Prints one canonical line per register and field. --svd-names writes the chip's\n"
               "names as a CMSIS-SVD export holds them; --svd-file reads an SVD file instead.\n",
        stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    DigestNames names = DigestNames::Model;
    bool svdFile = false;
    const char* path = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--svd-names") == 0)
            names = DigestNames::Svd;
        else if (std::strcmp(argv[i], "--svd-file") == 0)
            svdFile = true;
        else if (!path && argv[i][0] != '-')
            path = argv[i];
        else
            return usage();
    }
    if (!path)
        return usage();

    QStringList lines;
    if (svdFile) {
        QFile file(QString::fromLocal8Bit(path));
        QString error;
        if (!file.open(QIODevice::ReadOnly) || !svdDigest(file.readAll(), lines, error)) {
            std::fprintf(stderr, "vellxml_model_digest: %s: %s\n", path,
                error.isEmpty() ? "cannot read" : error.toUtf8().constData());
            return 1;
        }
    } else {
        HwMemoryMap map;
        HwMemoryMapLoader loader;
        HwRootArchive* root = loader.loadRootArchiveFromFile(
            &map, QString::fromLocal8Bit(path), nullptr, printLine, nullptr, true);
        if (!root)
            return 1;
        lines = modelDigest(*root, names);
    }
    for (const QString& line : lines)
        std::printf("%s\n", line.toUtf8().constData());
    return std::fflush(stdout) == 0 ? 0 : 1;
}
