// vellxml_docgen ROOT_FILE OUTPUT_DIRECTORY: loads a chip description and writes its browsable HTML
// documentation (HwMemoryMap::generateDocumentation). Open OUTPUT_DIRECTORY/index.html in a browser.
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QString>

#include <cstdio>

namespace {

void onError(const char* text)
{
    std::fprintf(stderr, "vellxml_docgen: %s\n", text);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: vellxml_docgen ROOT_FILE OUTPUT_DIRECTORY\n");
        return 2;
    }
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    if (!loader.loadRootArchiveFromFile(
            &map, QString::fromLocal8Bit(argv[1]), nullptr, onError, onError, true))
        return 1;
    QString error;
    const QString output = QString::fromLocal8Bit(argv[2]);
    if (!map.generateDocumentation(output, &error)) {
        std::fprintf(stderr, "vellxml_docgen: %s\n", error.toLocal8Bit().constData());
        return 1;
    }
    std::printf("Documentation written to %s/index.html\n", output.toLocal8Bit().constData());
    return 0;
}
