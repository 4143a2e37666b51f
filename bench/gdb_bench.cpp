// Register reads per second through a GDB server: QEMU's emulated micro:bit on loopback, started here
// and stopped at the end. One access per request and round trip, then batches whose requests are sent
// ahead of their replies.
#include "host/qemu_microbit.h"

#include <vellxml/host/backend.h>
#include <vellxml/host/gdb_remote.h>
#include <vellxml/host/probe.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

namespace {

using vellxml::host::GdbRemoteBackend;
using vellxml::host::Width;

// The factory information block: 32-bit registers that QEMU answers without side effects.
constexpr std::uint32_t kFicr = 0x10000000;

GdbRemoteBackend* g_backend = nullptr;
int g_handle = -1;

void singleReads(benchmark::State& state)
{
    std::uint32_t value = 0;
    for (auto _ : state) {
        if (PROBE_Read32(g_handle, kFicr + 0x14, &value) != 0) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(value);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(singleReads)->UseRealTime();

// The same from RAM, for comparison with a peripheral block.
void singleRamReads(benchmark::State& state)
{
    std::uint32_t value = 0;
    for (auto _ : state) {
        if (PROBE_Read32(g_handle, 0x20000000, &value) != 0) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(value);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(singleRamReads)->UseRealTime();

void batchedReads(benchmark::State& state)
{
    std::vector<GdbRemoteBackend::Access> accesses;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        accesses.push_back({kFicr + static_cast<std::uint32_t>(4 * (i % 64)), Width::Bits32});
    std::vector<std::uint32_t> values;
    for (auto _ : state) {
        if (g_backend->readBatch(accesses, values) != 0) {
            state.SkipWithError("batch failed");
            break;
        }
        benchmark::DoNotOptimize(values.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(batchedReads)->Arg(8)->Arg(32)->Arg(256)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    QemuMicrobit qemu;
    if (!qemu.ready()) {
        std::fprintf(stderr, "QEMU did not start: %s\n", qemu.errors().toLocal8Bit().constData());
        return 1;
    }
    vellxml::host::GdbRemoteOptions options;
    options.host = "127.0.0.1";
    options.port = static_cast<std::uint16_t>(qemu.port());
    std::string error;
    auto backend = GdbRemoteBackend::connect(options, error);
    if (!backend) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    g_backend = backend.get();
    // Batches are sent ahead of their replies only without acknowledgements: say which case this is.
    std::fprintf(stderr, "%s: acknowledgements %s, packet size %zu, writes as %s\n",
        backend->describe().c_str(),
        backend->noAckMode() ? "off" : "on", backend->packetSize(), backend->binaryWrites() ? "X" : "M");
    g_handle = vellxml::host::openTarget(std::move(backend));
    benchmark::RunSpecifiedBenchmarks();
    vellxml::host::closeTarget(g_handle);
    benchmark::Shutdown();
    return 0;
}
