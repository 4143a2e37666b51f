// Replays inputs through a fuzz target's entry point without libFuzzer: every file named on the command
// line, and every file below each directory named (hidden files aside), in sorted order. A crash or a
// broken oracle aborts; a clean run prints how many inputs were replayed. An argument that does not exist
// is an error, so that a renamed corpus directory cannot make the replay pass empty-handed.
#include <QByteArray>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE_OR_DIRECTORY...\n", argv[0]);
        return 2;
    }
    QStringList files;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        const QFileInfo info(argument);
        if (info.isDir()) {
            QStringList found;
            QDirIterator it(argument, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                found.append(it.next());
            std::sort(found.begin(), found.end());
            files += found;
        } else if (info.isFile()) {
            files.append(argument);
        } else {
            std::fprintf(stderr, "%s: no such file or directory\n", argv[i]);
            return 2;
        }
    }
    for (const QString& path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "%s: cannot read\n", qPrintable(path));
            return 2;
        }
        const QByteArray bytes = file.readAll();
        // A copy of exactly the input's size, so that reading past its end is caught as it is in a fuzzer.
        std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("replayed %lld inputs\n", static_cast<long long>(files.size()));
    return 0;
}
