// Choosing the backend by target handle, the maker's library as a backend, and the GDB backend checked
// against the simulator over many random accesses.
#include "fake_gdb_server.h"

#include <vellxml/host/backend.h>
#include <vellxml/host/gdb_remote.h>
#include <vellxml/host/maker_library.h>
#include <vellxml/host/probe.h>
#include <vellxml/host/simulator.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <random>

namespace vellxml::host {
namespace {

TEST(ProbeBackends, HandlesSelectTheirBackend)
{
    sim::reset();
    // Handles nobody opened reach the default backend, the simulator, unchanged.
    sim::poke(5, 0x100, 0xCAFE);
    std::uint32_t value = 0;
    EXPECT_EQ(PROBE_Read32(5, 0x100, &value), 0);
    EXPECT_EQ(value, 0xCAFEu);

    std::string error;
    const int first = openTarget("sim", error);
    const int second = openTarget("sim", error);
    ASSERT_GE(first, kFirstOpenHandle) << error;
    EXPECT_EQ(second, first + 1);
    // Each opened simulator is the simulated target of its own handle.
    EXPECT_EQ(PROBE_Write16(first, 0x100, 0x1234), 0);
    EXPECT_EQ(sim::peek(first, 0x100, 2), 0x1234u);
    EXPECT_EQ(sim::peek(second, 0x100, 2), 0u);
    EXPECT_EQ(sim::peek(5, 0x100, 4), 0xCAFEu);
    EXPECT_EQ(backendOf(first)->describe(), "simulated target");

    EXPECT_TRUE(closeTarget(first));
    EXPECT_FALSE(closeTarget(first));
    std::uint8_t byte = 0x5A;
    EXPECT_EQ(PROBE_Read8(first, 0x100, &byte), kProbeNoTarget);
    EXPECT_EQ(PROBE_WriteInternal(first, 0x100, 1), kProbeNoTarget);
    EXPECT_EQ(byte, 0x5A);
    EXPECT_EQ(backendOf(first), nullptr);
    // Handles are not reused.
    const int third = openTarget("sim", error);
    EXPECT_EQ(third, second + 1);
    closeTarget(second);
    closeTarget(third);
    sim::reset();
}

TEST(ProbeBackends, LocationsThatOpenNothingSayWhy)
{
    const struct {
        const char* location;
        const char* error;
    } rows[] = {
        {"simulator", "unknown target 'simulator' (sim, gdb://HOST:PORT or probe:N)"},
        {"gdb://nowhere", "expected gdb://HOST:PORT, got 'gdb://nowhere'"},
        {"probe:x", "probe: takes a target number, not 'x'"},
        {"probe:", "probe: takes a target number, not ''"},
        {"probe:-1", "probe: takes a target number, not '-1'"},
        {"probe:3", "this build has no probe library (configure with VELLXML_HOST_LIBRARY)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.location);
        if (!MakerLibraryBackend::builtInPath().empty() && std::string(row.location) == "probe:3")
            continue; // a build with the maker's library opens it
        std::string error;
        EXPECT_EQ(openTarget(row.location, error), -1);
        EXPECT_EQ(error, row.error);
    }
}

TEST(MakerLibraryBackend, CallsTheLibrarysOwnFunctionsWithItsTarget)
{
    std::string error;
    auto backend = MakerLibraryBackend::load(VELLXML_FAKE_PROBE_LIBRARY, 7, error);
    ASSERT_TRUE(backend) << error;
    EXPECT_EQ(backend->describe(), std::string("probe library ") + VELLXML_FAKE_PROBE_LIBRARY + ", target 7");
    const int handle = openTarget(std::move(backend));

    // The library's answer is (target << 24) ^ address ^ (width << 28), cut to the width.
    const std::uint32_t at = 0x40001234;
    std::uint8_t b = 0;
    std::uint16_t h = 0;
    std::uint32_t w = 0;
    std::uint8_t internal = 0;
    EXPECT_EQ(PROBE_Read8(handle, at, &b), 0);
    EXPECT_EQ(PROBE_Read16(handle, at, &h), 0);
    EXPECT_EQ(PROBE_Read32(handle, at, &w), 0);
    EXPECT_EQ(PROBE_ReadInternal(handle, at, &internal), 0);
    EXPECT_EQ(b, 0x34);
    EXPECT_EQ(h, 0x1234);
    EXPECT_EQ(w, (7u << 24) ^ at ^ (4u << 28));
    EXPECT_EQ(internal, 0x34 ^ 0x80);
    // The library's own codes pass through, and a failed read leaves the value alone.
    b = 0x11;
    EXPECT_EQ(PROBE_Read8(handle, 0xDEAD, &b), 77);
    EXPECT_EQ(b, 0x11);

    void* library = dlopen(VELLXML_FAKE_PROBE_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    using LastWrite = void (*)(int*, std::uint32_t*, std::uint32_t*, int*);
    const auto lastWrite = reinterpret_cast<LastWrite>(dlsym(library, "FAKE_lastWrite"));
    ASSERT_NE(lastWrite, nullptr);
    const struct {
        int (*write)(int, std::uint32_t, std::uint32_t);
        std::uint32_t value;
        std::uint32_t arrives;
        int width;
    } writes[] = {
        {[](int t, std::uint32_t a, std::uint32_t v) {
             return PROBE_Write8(t, a, static_cast<std::uint8_t>(v));
         },
            0x1AB, 0xAB, 1},
        {[](int t, std::uint32_t a, std::uint32_t v) {
             return PROBE_Write16(t, a, static_cast<std::uint16_t>(v));
         },
            0x1ABCD, 0xABCD, 2},
        {[](int t, std::uint32_t a, std::uint32_t v) { return PROBE_Write32(t, a, v); }, 0x89ABCDEF,
            0x89ABCDEF, 4},
        {[](int t, std::uint32_t a, std::uint32_t v) {
             return PROBE_WriteInternal(t, a, static_cast<std::uint8_t>(v));
         },
            0x42, 0x42, 9},
    };
    for (const auto& row : writes) {
        SCOPED_TRACE(row.width);
        EXPECT_EQ(row.write(handle, at, row.value), 0);
        int target = 0;
        std::uint32_t address = 0;
        std::uint32_t value = 0;
        int width = 0;
        lastWrite(&target, &address, &value, &width);
        EXPECT_EQ(target, 7);
        EXPECT_EQ(address, at);
        EXPECT_EQ(value, row.arrives);
        EXPECT_EQ(width, row.width);
    }
    dlclose(library);
    closeTarget(handle);

    EXPECT_FALSE(MakerLibraryBackend::load("/nonexistent/libprobe.so", std::nullopt, error));
    EXPECT_EQ(error.rfind("cannot load the probe library /nonexistent/libprobe.so: ", 0), 0u)
        << error;
}

TEST(GdbRemoteBackend, RandomAccessesAgreeWithTheSimulator)
{
    // A server with a plain memory behind it and the simulator must end up alike after the same accesses
    // of every width, at unaligned addresses too, with binary writes and with hexadecimal ones: the
    // encoding of requests and replies loses nothing. Half the bytes written are those that binary data
    // must escape.
    for (const bool binary : {true, false}) {
        SCOPED_TRACE(binary ? "X" : "M");
        FakeGdbServer server(true, {}, true, binary);
        server.serveMemory();
        std::string error;
        const int gdb =
            openTarget("gdb://127.0.0.1:" + std::to_string(server.port()) + "?timeout=2000", error);
        ASSERT_GE(gdb, kFirstOpenHandle) << error;
        sim::reset();
        constexpr int kSim = 3;
        std::mt19937 random(20261125);
        const auto randomByte = [&random]() -> std::uint32_t {
            static const std::uint32_t kEscaped[] = {'#', '$', '}', '*'};
            return random() % 2 == 0 ? kEscaped[random() % 4] : random() % 256;
        };
        for (int i = 0; i < 600; ++i) {
            const std::uint32_t address = 0x20000000 + random() % 64;
            std::uint32_t value = 0;
            for (int b = 0; b < 4; ++b)
                value |= randomByte() << (8 * b);
            const int width = static_cast<int>(random() % 3);
            const bool reading = random() % 2 == 0;
            SCOPED_TRACE(testing::Message()
                << i << ": " << (reading ? "read" : "write") << width << " @" << address);
            if (reading) {
                std::uint32_t fromGdb = 0;
                std::uint32_t fromSim = 0;
                int status = 0;
                if (width == 0) {
                    std::uint8_t a = 0;
                    std::uint8_t b = 0;
                    status = PROBE_Read8(gdb, address, &a) | PROBE_Read8(kSim, address, &b);
                    fromGdb = a;
                    fromSim = b;
                } else if (width == 1) {
                    std::uint16_t a = 0;
                    std::uint16_t b = 0;
                    status = PROBE_Read16(gdb, address, &a) | PROBE_Read16(kSim, address, &b);
                    fromGdb = a;
                    fromSim = b;
                } else {
                    status = PROBE_Read32(gdb, address, &fromGdb) | PROBE_Read32(kSim, address, &fromSim);
                }
                ASSERT_EQ(status, 0);
                ASSERT_EQ(fromGdb, fromSim);
            } else if (width == 0) {
                ASSERT_EQ(PROBE_Write8(gdb, address, static_cast<std::uint8_t>(value)), 0);
                PROBE_Write8(kSim, address, static_cast<std::uint8_t>(value));
            } else if (width == 1) {
                ASSERT_EQ(PROBE_Write16(gdb, address, static_cast<std::uint16_t>(value)), 0);
                PROBE_Write16(kSim, address, static_cast<std::uint16_t>(value));
            } else {
                ASSERT_EQ(PROBE_Write32(gdb, address, value), 0);
                PROBE_Write32(kSim, address, value);
            }
        }
        // Every write went as the server offered, one request of its width each.
        int writes = 0;
        for (const std::string& request : server.requests())
            if (request[0] != 'm') {
                ++writes;
                EXPECT_EQ(request[0], binary ? 'X' : 'M') << request;
            }
        EXPECT_GT(writes, 200);
        closeTarget(gdb);
        sim::reset();
    }
}

} // namespace
} // namespace vellxml::host
