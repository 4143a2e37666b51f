// Load time against the number of variables of one archive and against the number of archives of a chip.
// Each declaration must cost the same however many came before it: the reported complexity is O(N), and
// the time per item (the items_per_second counter) stays flat along each range.
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

void loadRepeatedly(benchmark::State& state, const QString& path, std::int64_t items)
{
    for (auto _ : state) {
        HwMemoryMap map;
        HwMemoryMapLoader loader;
        if (!loader.loadRootArchiveFromFile(&map, path, nullptr, nullptr, nullptr, true)) {
            state.SkipWithError("the generated chip did not load");
            return;
        }
    }
    state.SetComplexityN(items);
    state.SetItemsProcessed(state.iterations() * items);
}

// One archive of N `var` tags, each an expression over the one before, and a module whose register
// offsets use them.
void BM_LoadVariables(benchmark::State& state)
{
    const auto count = static_cast<int>(state.range(0));
    QTemporaryDir dir;
    QByteArray text = "<archive>\n<var name=\"V0\" value=\"0x10\"/>\n";
    for (int i = 1; i < count; ++i)
        text += "<var name=\"V" + QByteArray::number(i) + "\" value=\"V" + QByteArray::number(i - 1)
            + " + 4\"/>\n";
    text += "<module name=\"M\">\n";
    for (int i = 0; i < count; i += count / 16)
        text += "<reg32 name=\"R" + QByteArray::number(i) + "\" offset=\"V" + QByteArray::number(i) + "\"/>\n";
    text += "</module>\n<instance name=\"I\" type=\"M\" address=\"0x40000000\"/>\n</archive>\n";
    const QString path = dir.filePath(QStringLiteral("vars.xml"));
    if (!writeFile(path, text)) {
        state.SkipWithError("cannot write the chip");
        return;
    }
    loadRepeatedly(state, path, count);
}
BENCHMARK(BM_LoadVariables)
    ->RangeMultiplier(2)
    ->Range(1024, 16384)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// A root archive including N archives, each including a common one, declaring a few variables and a
// module, and placing an instance of the module of the archive before it: every instance is a type
// lookup across the chip.
void BM_LoadArchives(benchmark::State& state)
{
    const auto count = static_cast<int>(state.range(0));
    QTemporaryDir dir;
    bool written = writeFile(dir.filePath(QStringLiteral("common.xml")),
        "<archive>\n<var name=\"BASE\" value=\"0x40000000\"/>\n<var name=\"STEP\" value=\"0x100\"/>\n</archive>\n");
    QByteArray root = "<archive>\n<include file=\"common.xml\"/>\n";
    for (int i = 0; i < count; ++i) {
        const QByteArray n = QByteArray::number(i);
        root += "<include file=\"p" + n + ".xml\"/>\n";
        QByteArray archive = "<archive>\n<include file=\"common.xml\"/>\n";
        for (int v = 0; v < 8; ++v)
            archive += "<var name=\"P" + n + "_V" + QByteArray::number(v) + "\" value=\"STEP * " + n + " + "
                + QByteArray::number(v * 4) + "\"/>\n";
        archive += "<module name=\"M" + n + "\">\n<reg32 name=\"R\" offset=\"P" + n + "_V1\"/>\n</module>\n";
        if (i > 0) {
            const QByteArray previous = QByteArray::number(i - 1);
            archive += "<instance name=\"I" + n + "\" type=\"M"
                + previous + "\" address=\"BASE + P" + n + "_V0\"/>\n";
        }
        archive += "</archive>\n";
        written = written && writeFile(dir.filePath(QStringLiteral("p%1.xml").arg(i)), archive);
    }
    root += "</archive>\n";
    const QString path = dir.filePath(QStringLiteral("chip.xml"));
    if (!written || !writeFile(path, root)) {
        state.SkipWithError("cannot write the chip");
        return;
    }
    loadRepeatedly(state, path, count);
}
BENCHMARK(BM_LoadArchives)->RangeMultiplier(4)->Range(16, 1024)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);

} // namespace
