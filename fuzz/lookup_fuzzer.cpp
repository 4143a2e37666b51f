// Path lookup, completion lists and the element commands on the demo chip, loaded once from the sources
// (served from memory, intc encrypted on the way). Each input line is a path, optionally followed by a
// command and its arguments, separated by spaces: "UART0.CR1.WL", "UART0.CR1 wl 0x12 3".
//
// The oracle: an element found by a path that has a path of its own is found again from that path; every
// completion entry of a list is filed under a name; a command ends with a status, never a crash. Reads and
// writes reach the simulated target, which starts empty for every input.
#include "fuzz_support.h"

#include <vellxml/access/commands.h>
#include <vellxml/host/simulator.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QDirIterator>
#include <QFile>
#include <QStringList>

#include <cstddef>
#include <cstdint>

namespace {

using vellxml::fuzz::require;

const QString g_directory = QStringLiteral("/vellxml-fuzz");
constexpr int g_maxLines = 64;

HwMemoryMap& demoChip()
{
    static HwMemoryMap* const map = [] {
        static vellxml::fuzz::MemoryFileSource source;
        const QString demo = QStringLiteral(VELLXML_DEMO_SOURCE_DIR);
        QDirIterator it(demo, {QStringLiteral("*.xml")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QFile file(path);
            require(file.open(QIODevice::ReadOnly), "demo file unreadable");
            const QByteArray bytes = file.readAll();
            const QString relative = QDir(demo).relativeFilePath(path);
            source.add(g_directory + QLatin1Char('/') + relative, bytes);
            if (relative == QLatin1String("intc.xml"))
                source.add(
                    g_directory + QStringLiteral("/intc.xmd"), vellxml::fuzz::encryptArchive(bytes, 1));
        }
        vellxml::fuzz::ServedFiles served(source);
        auto* loaded = new HwMemoryMap;
        HwMemoryMapLoader loader;
        loader.loadRootArchiveFromFile(loaded, g_directory + QStringLiteral("/chip.xml"), nullptr,
            vellxml::fuzz::countError, vellxml::fuzz::countWarning, true);
        require(loaded->getChipRootArchive() != nullptr, "the demo chip does not load");
        return loaded;
    }();
    return *map;
}

void exercise(HwMemoryMap& map, const QString& line)
{
    QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString path = words.isEmpty() ? line : words.takeFirst();

    HwXMLElement* element = map.getElementFromPath(path);
    if (element) {
        QString own = element->getPath();
        // An instance's path is "$NAME", and a lone token is taken as it stands.
        if (!own.contains(QLatin1Char('.')) && own.startsWith(QLatin1Char('$')))
            own.remove(0, 1);
        if (!own.isEmpty())
            require(map.getElementFromPath(own) == element, "an element's own path finds another element");
    }

    const CXMLCompletionList list = map.getCompletionListFromPath(path);
    for (auto it = list.cbegin(); it != list.cend(); ++it)
        require(it.value().kind == 0 || it.value().name.isEmpty() || it.value().name == it.key(),
            "a completion entry filed under another name");

    if (element && !words.isEmpty()) {
        const QString command = words.takeFirst();
        const HwCommandResult result = runElementCommand(element, command, words, HwTarget {0});
        require(!commandStatusText(result).isEmpty(), "a command status without text");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    HwMemoryMap& map = demoChip();
    vellxml::sim::reset();
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size() && i < g_maxLines; ++i)
        exercise(map, lines[i]);
    return 0;
}
