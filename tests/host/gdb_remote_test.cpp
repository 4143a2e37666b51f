// The GDB remote backend against a scripted server: what each kind of reply, damage and silence makes of
// one access, and the handshake.
#include "fake_gdb_server.h"

#include <vellxml/host/gdb_remote.h>
#include <vellxml/host/probe.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace vellxml::host {
namespace {

using Server = FakeGdbServer;

std::string ok(const std::string& payload)
{
    return "+" + Server::packet(payload);
}

GdbRemoteOptions optionsFor(const Server& server)
{
    GdbRemoteOptions options;
    options.host = "127.0.0.1";
    options.port = server.port();
    options.timeoutMs = 300;
    options.retries = 2;
    return options;
}

TEST(GdbRemote, EachReplyGivesItsResult)
{
    constexpr std::uint32_t kAt = 0x20000000;
    enum Op { Read, Write };
    struct Row {
        const char* name;
        bool noAck;
        Op op;
        Width width;
        std::uint32_t written;
        std::vector<std::string> script;
        int status;
        std::uint32_t value;
        std::vector<std::string> requests;
        int naks;
        bool stillConnected;
    };
    const std::string word = "0d0c0b0a";
    const std::vector<Row> rows = {
        {"read32 with acks", false, Read, Width::Bits32, 0, {ok(word)}, 0, 0x0A0B0C0D, {"m20000000,4"}, 0,
            true},
        {"read32 without acks", true, Read, Width::Bits32, 0, {Server::packet(word)}, 0, 0x0A0B0C0D,
            {"m20000000,4"}, 0, true},
        {"read16 is one 2-byte request", true, Read, Width::Bits16, 0, {Server::packet("3412")}, 0, 0x1234,
            {"m20000000,2"}, 0, true},
        {"read8 is one 1-byte request", true, Read, Width::Bits8, 0, {Server::packet("a5")}, 0, 0xA5,
            {"m20000000,1"}, 0, true},
        {"write32 is one 4-byte request", true, Write, Width::Bits32, 0x12345678, {Server::packet("OK")}, 0,
            0, {"M20000000,4:78563412"}, 0, true},
        {"write16", false, Write, Width::Bits16, 0xFFFFBEEF, {ok("OK")}, 0, 0, {"M20000000,2:efbe"}, 0, true},
        {"write8", true, Write, Width::Bits8, 0x1FF, {Server::packet("OK")}, 0, 0, {"M20000000,1:ff"}, 0,
            true},
        {"internal registers send nothing", true, Read, Width::Internal8, 0, {}, kGdbNoInternalRegisters, 0,
            {}, 0, true},
        {"internal writes send nothing", true, Write, Width::Internal8, 1, {}, kGdbNoInternalRegisters, 0, {},
            0, true},
        {"E01", true, Read, Width::Bits32, 0, {Server::packet("E01")}, kGdbErrorBase + 0x01, 0,
            {"m20000000,4"}, 0, true},
        {"E14 differs from E01", true, Read, Width::Bits32, 0, {Server::packet("E14")}, kGdbErrorBase + 0x14,
            0, {"m20000000,4"}, 0, true},
        {"write refused with E02", false, Write, Width::Bits32, 1, {ok("E02")}, kGdbErrorBase + 0x02, 0,
            {"M20000000,4:01000000"}, 0, true},
        {"bad checksum is refused and sent again", false, Read, Width::Bits32, 0,
            {"+" + Server::damaged(word), Server::packet(word)}, 0, 0x0A0B0C0D, {"m20000000,4"}, 1, true},
        {"bad checksum without acks: the read is asked again", true, Read, Width::Bits32, 0,
            {Server::damaged(word), Server::packet(word)}, 0, 0x0A0B0C0D, {"m20000000,4", "m20000000,4"}, 0,
            true},
        {"bad checksum every time", false, Read, Width::Bits32, 0,
            {"+" + Server::damaged(word), Server::damaged(word), Server::damaged(word)}, kGdbBadChecksum, 0,
            {"m20000000,4"}, 2, true},
        {"a write is never sent twice", true, Write, Width::Bits32, 1,
            {Server::damaged("OK"), Server::packet("OK")}, kGdbBadChecksum, 0, {"M20000000,4:01000000"}, 0,
            true},
        {"NAK of the request sends it again", false, Read, Width::Bits32, 0, {"-", ok(word)}, 0, 0x0A0B0C0D,
            {"m20000000,4", "m20000000,4"}, 0, true},
        {"NAK every time", false, Read, Width::Bits32, 0, {"-", "-", "-"}, kGdbBadChecksum, 0,
            {"m20000000,4", "m20000000,4", "m20000000,4"}, 0, true},
        {"closed in the middle of a reply", true, Read, Width::Bits32, 0, {"$0d0c<close>"}, kGdbClosed, 0,
            {"m20000000,4"}, 0, false},
        {"closed before the acknowledgement", false, Write, Width::Bits32, 0, {"<close>"}, kGdbClosed, 0,
            {"M20000000,4:00000000"}, 0, false},
        {"a server that never answers", true, Read, Width::Bits32, 0, {"<silent>"}, kGdbTimeout, 0,
            {"m20000000,4"}, 0, false},
        {"an acknowledgement without a reply", false, Read, Width::Bits32, 0, {"+"}, kGdbTimeout, 0,
            {"m20000000,4"}, 0, false},
        {"an oversized reply", true, Read, Width::Bits32, 0, {"$" + std::string(70000, '0') + "#00"},
            kGdbOversized, 0, {"m20000000,4"}, 0, false},
        {"garbage between packets, with acks", false, Read, Width::Bits32, 0,
            {"x\r\n+junk" + Server::packet(word)}, 0, 0x0A0B0C0D, {"m20000000,4"}, 0, true},
        {"garbage between packets, without acks", true, Read, Width::Bits32, 0,
            {"+-junk#00" + Server::packet(word)}, 0, 0x0A0B0C0D, {"m20000000,4"}, 0, true},
        {"a notification is skipped", true, Read, Width::Bits32, 0, {"%Stop:T05#00" + Server::packet(word)},
            0, 0x0A0B0C0D, {"m20000000,4"}, 0, true},
        {"a stop reply of its own is passed over", true, Read, Width::Bits32, 0,
            {Server::packet("T05thread:01;") + Server::packet(word)}, 0, 0x0A0B0C0D, {"m20000000,4"}, 0,
            true},
        {"run-length encoding is expanded", true, Read, Width::Bits32, 0, {Server::packet("1*\"11")}, 0,
            0x11111111, {"m20000000,4"}, 0, true},
        {"a reply of the wrong length", true, Read, Width::Bits32, 0, {Server::packet("0d0c")}, kGdbMalformed,
            0, {"m20000000,4"}, 0, true},
        {"a reply that is not hexadecimal", true, Read, Width::Bits16, 0, {Server::packet("0x")},
            kGdbMalformed, 0, {"m20000000,2"}, 0, true},
        {"an empty reply: not supported", true, Read, Width::Bits32, 0, {Server::packet("")}, kGdbUnsupported,
            0, {"m20000000,4"}, 0, true},
        {"a write answered with data", true, Write, Width::Bits8, 0, {Server::packet("00")}, kGdbMalformed, 0,
            {"M20000000,1:00"}, 0, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Server server(row.noAck, row.script);
        std::string error;
        auto backend = GdbRemoteBackend::connect(optionsFor(server), error);
        ASSERT_TRUE(backend) << error;
        EXPECT_EQ(backend->noAckMode(), row.noAck);
        std::uint32_t value = 0;
        const auto started = std::chrono::steady_clock::now();
        const int status = row.op == Read ? backend->read(0, kAt, row.width, value)
                                          : backend->write(0, kAt, row.width, row.written);
        // Every wait is bounded: retries and silence included, well within the test's patience.
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(2));
        EXPECT_EQ(status, row.status);
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(server.requests(), row.requests);
        EXPECT_EQ(server.naks(), row.naks);
        EXPECT_EQ(backend->connected(), row.stillConnected);
        if (!row.stillConnected) {
            // The next call connects again; this server serves one connection, so that fails without
            // sending the request.
            std::uint32_t again = 0;
            EXPECT_EQ(backend->read(0, kAt, Width::Bits32, again), kGdbNotConnected);
            EXPECT_EQ(server.requests(), row.requests);
        }
    }
}

TEST(GdbRemote, WritesGoBinaryWhenTheServerTakesThemAndAsHexOtherwise)
{
    constexpr std::uint32_t kAt = 0x20000000;
    struct Row {
        const char* name;
        bool noAck;
        bool offerBinary;
        Width width;
        std::uint32_t written;
        std::vector<std::string> script;
        int status;
        std::vector<std::string> requests;
        bool binaryAfter;
    };
    using namespace std::string_literals;
    const std::vector<Row> rows = {
        {"write32 is one 4-byte X", true, true, Width::Bits32, 0x12345678, {Server::packet("OK")}, 0,
            {"X20000000,4:\x78\x56\x34\x12"s}, true},
        {"#, $, } and * are escaped", true, true, Width::Bits32, 0x2A7D2423, {Server::packet("OK")}, 0,
            {"X20000000,4:}\x03}\x04}\x5d}\x0a"s}, true},
        {"zero bytes travel as they are", false, true, Width::Bits16, 0x0000, {ok("OK")}, 0,
            {"X20000000,2:\0\0"s}, true},
        {"write8 of an escaped byte, with acks", false, true, Width::Bits8, 0x7D, {ok("OK")}, 0,
            {"X20000000,1:}\x5d"s}, true},
        {"an error reply to X", true, true, Width::Bits32, 1, {Server::packet("E0e")}, kGdbErrorBase + 0x0E,
            {"X20000000,4:\x01\0\0\0"s}, true},
        {"a server refusing the probe gets M", true, false, Width::Bits32, 0x2A7D2423,
            {Server::packet("OK")}, 0, {"M20000000,4:23247d2a"}, false},
        {"an X refused after the probe is sent again as M", true, true, Width::Bits16, 0x2423,
            {Server::packet(""), Server::packet("OK")}, 0, {"X20000000,2:}\x03}\x04"s, "M20000000,2:2324"},
            false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Server server(row.noAck, row.script, true, row.offerBinary);
        std::string error;
        auto backend = GdbRemoteBackend::connect(optionsFor(server), error);
        ASSERT_TRUE(backend) << error;
        EXPECT_EQ(backend->binaryWrites(), row.offerBinary);
        EXPECT_EQ(backend->write(0, kAt, row.width, row.written), row.status);
        EXPECT_EQ(server.requests(), row.requests);
        EXPECT_EQ(backend->binaryWrites(), row.binaryAfter);
        EXPECT_TRUE(backend->connected());
    }
}

TEST(GdbRemote, ALostConnectionIsReportedOnceAndALaterCallConnectsAgain)
{
    const std::string word = "0d0c0b0a";
    auto server = std::make_unique<Server>(true, std::vector<std::string> {Server::packet(word)});
    const std::uint16_t port = server->port();
    std::string error;
    auto backend = GdbRemoteBackend::connect(optionsFor(*server), error);
    ASSERT_TRUE(backend) << error;
    std::uint32_t value = 0;
    EXPECT_EQ(backend->read(0, 0x10, Width::Bits32, value), 0);
    // The server goes away between two calls: the next call meets the closed connection and says so.
    server.reset();
    EXPECT_EQ(backend->read(0, 0x10, Width::Bits32, value), kGdbClosed);
    EXPECT_FALSE(backend->connected());
    // It comes back where it was: the next call connects and shakes hands again (this server offers
    // binary writes, the first did not), then does its work.
    server = std::make_unique<Server>(
        true, std::vector<std::string> {Server::packet("44332211"), Server::packet("OK")}, true, true, port);
    ASSERT_TRUE(server->bound());
    value = 0;
    EXPECT_EQ(backend->read(0, 0x10, Width::Bits32, value), 0);
    EXPECT_EQ(value, 0x11223344u);
    EXPECT_TRUE(backend->binaryWrites());
    EXPECT_EQ(backend->write(0, 0x10, Width::Bits8, 0x41), 0);
    EXPECT_EQ(server->requests(), (std::vector<std::string> {"m10,4", "X10,1:A"}));
    // Gone again: reported once, and while nothing listens, connecting fails at once with its reason.
    server.reset();
    EXPECT_EQ(backend->write(0, 0x10, Width::Bits8, 0), kGdbClosed);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(backend->read(0, 0x10, Width::Bits32, value), kGdbNotConnected);
    EXPECT_EQ(backend->read(0, 0x10, Width::Bits32, value), kGdbNotConnected);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(2));
    EXPECT_EQ(backend->lastConnectError(),
        "cannot connect to 127.0.0.1:" + std::to_string(port) + ": Connection refused");
    // An explicit reconnect does not wait for the quiet period after a failed attempt.
    server = std::make_unique<Server>(
        true, std::vector<std::string> {Server::packet("01000000")}, true, false, port);
    ASSERT_TRUE(server->bound());
    EXPECT_TRUE(backend->reconnect(error)) << error;
    EXPECT_EQ(backend->lastConnectError(), "");
    EXPECT_EQ(backend->read(0, 0x10, Width::Bits32, value), 0);
    EXPECT_EQ(value, 1u);
}

TEST(GdbRemote, BatchesPipelineRequestsAndKeepRepliesInStep)
{
    constexpr std::size_t kCount = 70; // more than one window of requests in flight
    std::vector<std::string> script;
    std::vector<GdbRemoteBackend::Access> accesses;
    for (std::size_t i = 0; i < kCount; ++i) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "%02x000000", static_cast<unsigned>(i));
        // Two windows of 32 are sent; the second fails at 40 and the third is never sent.
        if (i < 64)
            script.push_back(i == 40 ? Server::packet("E14") : Server::packet(hex));
        accesses.push_back({static_cast<std::uint32_t>(0x1000 + 4 * i), Width::Bits32});
    }
    script.push_back(Server::packet("2a000000"));
    Server server(true, script);
    std::string error;
    auto backend = GdbRemoteBackend::connect(optionsFor(server), error);
    ASSERT_TRUE(backend) << error;
    std::vector<std::uint32_t> values;
    EXPECT_EQ(backend->readBatch(accesses, values), kGdbErrorBase + 0x14);
    ASSERT_EQ(values.size(), kCount);
    for (std::size_t i = 0; i < kCount; ++i)
        EXPECT_EQ(values[i], i < 40 ? i : 0u) << i;
    // The failing window was read to its end: the next request meets its own reply.
    std::uint32_t value = 0;
    EXPECT_EQ(backend->read(0, 0x2000, Width::Bits32, value), 0);
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(server.requests().size(), 64u + 1u);
}

TEST(GdbRemote, BatchesWithAcknowledgementsMatchEachReplyToItsRequest)
{
    // Four reads in flight together; the server takes or refuses each in order and answers what it took.
    const auto word = [](unsigned i) { return Server::packet(std::string(8, static_cast<char>('0' + i))); };
    const auto value = [](std::uint32_t i) { return i * 0x11111111u; };
    struct Row {
        const char* name;
        std::vector<std::string> script; // one step per request received, resent ones included
        int status;
        std::vector<std::string> requests; // by their address's last digit
        std::vector<std::uint32_t> values;
    };
    const std::vector<Row> rows = {
        {"all taken", {"+" + word(1), "+" + word(2), "+" + word(3), "+" + word(4)}, 0, {"0", "4", "8", "c"},
            {value(1), value(2), value(3), value(4)}},
        {"a refused request is sent again at the end", {"+" + word(1), "-", "+" + word(3), "+" + word(4),
            "+" + word(2)}, 0, {"0", "4", "8", "c", "4"}, {value(1), value(2), value(3), value(4)}},
        {"a damaged reply is taken and its read asked again",
            {"+" + word(1), "+" + Server::damaged("22222222"), "+" + word(3), "+" + word(4),
                "+" + word(2)},
            0,
            {"0", "4", "8", "c", "4"}, {value(1), value(2), value(3), value(4)}},
        {"replies without acknowledgements", {word(1), word(2), "x" + word(3), word(4)}, 0,
            {"0", "4", "8", "c"}, {value(1), value(2), value(3), value(4)}},
        {"a stop reply among them is passed over",
            {"+" + word(1), "+" + Server::packet("S05") + word(2), "+" + word(3), "+" + word(4)}, 0,
            {"0", "4", "8", "c"}, {value(1), value(2), value(3), value(4)}},
        {"refused more often than the retries allow",
            {"+" + word(1), "-", "+" + word(3), "+" + word(4), "-", "-"}, kGdbBadChecksum, {"0", "4", "8", "c", "4", "4"}, {value(1), 0, 0, 0}},
        {"an error reply fails from its access on",
            {"+" + word(1), "+" + word(2), "+" + Server::packet("E14"), "+" + word(4)}, kGdbErrorBase + 0x14,
            {"0", "4", "8", "c"}, {value(1), value(2), 0, 0}},
        {"silence after two replies", {"+" + word(1), "+" + word(2), "<silent>"}, kGdbTimeout,
            {"0", "4", "8", "c"}, {0, 0, 0, 0}},
    };
    std::vector<GdbRemoteBackend::Access> accesses;
    for (std::uint32_t i = 0; i < 4; ++i)
        accesses.push_back({0x100 + 4 * i, Width::Bits32});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Server server(false, row.script);
        std::string error;
        auto backend = GdbRemoteBackend::connect(optionsFor(server), error);
        ASSERT_TRUE(backend) << error;
        ASSERT_FALSE(backend->noAckMode());
        std::vector<std::uint32_t> values;
        EXPECT_EQ(backend->readBatch(accesses, values), row.status);
        EXPECT_EQ(values, row.values);
        std::vector<std::string> requests;
        for (const std::string& request : server.requests())
            requests.push_back(request.substr(3, request.find(',') - 3));
        EXPECT_EQ(requests, row.requests);
    }
}

TEST(GdbRemote, HandshakeFailuresAreBoundedAndSaySo)
{
    {
        Server server(true, {}, false); // accepts, then never answers
        std::string error;
        const auto started = std::chrono::steady_clock::now();
        EXPECT_FALSE(GdbRemoteBackend::connect(optionsFor(server), error));
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(2));
        EXPECT_EQ(error,
            "no answer from a GDB server at 127.0.0.1:" + std::to_string(server.port()) + " (code 41)");
    }
    std::uint16_t closedPort = 0;
    {
        Server server(true, {});
        closedPort = server.port();
    }
    GdbRemoteOptions options;
    options.host = "127.0.0.1";
    options.port = closedPort;
    std::string error;
    EXPECT_FALSE(GdbRemoteBackend::connect(options, error));
    EXPECT_EQ(error, "cannot connect to 127.0.0.1:" + std::to_string(closedPort) + ": Connection refused");
}

TEST(GdbRemote, LocationsAndTheirOptions)
{
    struct Row {
        const char* location;
        bool valid;
        const char* host;
        int port;
        int timeoutMs;
        int retries;
        bool bigEndian;
        const char* error;
    };
    const Row rows[] = {
        {"gdb://localhost:3333", true, "localhost", 3333, 2000, 3, false, ""},
        {"gdb://10.0.0.2:1234?timeout=50&retries=0&endian=big", true, "10.0.0.2", 1234, 50, 0, true, ""},
        {"gdb://[::1]:2331", true, "::1", 2331, 2000, 3, false, ""},
        {"gdb://host", false, "", 0, 0, 0, false, "expected gdb://HOST:PORT, got 'gdb://host'"},
        {"gdb://host:0", false, "", 0, 0, 0, false, "not a port number: '0'"},
        {"gdb://host:70000", false, "", 0, 0, 0, false, "not a port number: '70000'"},
        {"gdb://host:1?speed=9", false, "", 0, 0, 0, false,
            "unknown option 'speed=9' (timeout=MS, retries=N, endian=big|little)"},
        {"gdb://host:1?timeout=0", false, "", 0, 0, 0, false,
            "unknown option 'timeout=0' (timeout=MS, retries=N, endian=big|little)"},
        {"tcp://host:1", false, "", 0, 0, 0, false, "not a gdb:// location: 'tcp://host:1'"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.location);
        GdbRemoteOptions options;
        std::string error;
        ASSERT_EQ(GdbRemoteBackend::parseLocation(row.location, options, error), row.valid);
        EXPECT_EQ(error, row.error);
        if (row.valid) {
            EXPECT_EQ(options.host, row.host);
            EXPECT_EQ(options.port, row.port);
            EXPECT_EQ(options.timeoutMs, row.timeoutMs);
            EXPECT_EQ(options.retries, row.retries);
            EXPECT_EQ(options.bigEndian, row.bigEndian);
        }
    }
}

TEST(GdbRemote, BigEndianTargetsExchangeBytesMostSignificantFirst)
{
    Server server(true, {Server::packet("0a0b0c0d"), Server::packet("OK")});
    GdbRemoteOptions options = optionsFor(server);
    options.bigEndian = true;
    std::string error;
    auto backend = GdbRemoteBackend::connect(options, error);
    ASSERT_TRUE(backend) << error;
    std::uint32_t value = 0;
    EXPECT_EQ(backend->read(0, 0x10, Width::Bits32, value), 0);
    EXPECT_EQ(value, 0x0A0B0C0Du);
    EXPECT_EQ(backend->write(0, 0x10, Width::Bits16, 0x1234), 0);
    EXPECT_EQ(server.requests(), (std::vector<std::string> {"m10,4", "M10,2:1234"}));
}

} // namespace
} // namespace vellxml::host
