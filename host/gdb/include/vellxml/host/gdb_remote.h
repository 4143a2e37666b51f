#ifndef VELLXML_HOST_GDB_REMOTE_H
#define VELLXML_HOST_GDB_REMOTE_H

#include <vellxml/host/backend.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vellxml::host {

/// Result codes of the GDB remote backend, beside 0 for success. They do not overlap the codes of the
/// element commands (30, 31) nor each other.
enum GdbStatus : int {
    /// The server closed the connection, also in the middle of a reply. The connection is gone.
    kGdbClosed = 40,
    /// No complete reply came within the timeout. The connection is dropped, since a late reply would
    /// be taken for the answer to the next request.
    kGdbTimeout = 41,
    /// The connection was lost by an earlier call and connecting again failed (or was tried less than a
    /// timeout period ago); nothing was sent.
    kGdbNotConnected = 42,
    /// The request was refused with "-" or answered with a bad checksum more often than the retries
    /// allow, or (without acknowledgements) a write's reply had a bad checksum: a write is never sent
    /// twice, since it may have acted.
    kGdbBadChecksum = 43,
    /// A reply grew beyond the packet size limit. The connection is dropped.
    kGdbOversized = 44,
    /// A reply of the wrong form: not hexadecimal, not the requested length, not "OK".
    kGdbMalformed = 45,
    /// The server answered with an empty packet: it does not support the request.
    kGdbUnsupported = 46,
    /// PROBE_ReadInternal and PROBE_WriteInternal: the protocol has no internal registers. Nothing is sent.
    kGdbNoInternalRegisters = 47,
    /// An error reply "E NN" gives kGdbErrorBase + NN (0x100 to 0x1FF), so that every server code stays
    /// distinct. QEMU answers E14 (0x114) for memory it cannot reach, OpenOCD E01 (0x101) and so on.
    kGdbErrorBase = 0x100,
};

/// How to reach a GDB server.
struct GdbRemoteOptions {
    std::string host = "localhost";
    std::uint16_t port = 0;
    /// The bound, in milliseconds, of connecting and of each request with its reply.
    int timeoutMs = 2000;
    /// How often a refused or damaged packet is sent again.
    int retries = 3;
    /// Values are exchanged in the target's byte order; little-endian unless the target is big-endian.
    bool bigEndian = false;
};

/// A target reached through a GDB server (OpenOCD, pyOCD, J-Link GDB Server, Black Magic Probe, QEMU's
/// gdbstub) over the GDB remote serial protocol on TCP.
///
/// Connecting asks qSupported for the server's PacketSize and switches acknowledgements off when the
/// server offers QStartNoAckMode, asks "?" for the stop reason as debuggers do, and probes for binary
/// writes with a zero-length "X". A read of 8, 16 or 32 bits is one "m ADDR,LEN" request of exactly that
/// many bytes, a write one "X ADDR,LEN:DATA" (binary, with "#", "$", "}" and "*" escaped) or, when the
/// server has no "X", one "M ADDR,LEN:HEX"; a 32-bit register is never moved as four single bytes.
/// Replies are checked (checksum, run-length encoding, bytes before the "$" skipped) and every wait is
/// bounded by the timeout: a dead or stalled server makes a call return kGdbTimeout or kGdbClosed, never
/// hang, and drops the connection. The next call connects again (kGdbNotConnected when that fails; then
/// the calls of one timeout period fail at once). The target argument of read and write is ignored: the
/// handle that reached this backend has already chosen the connection.
class VELLHOST_EXPORT GdbRemoteBackend final : public ProbeBackend {
public:
    /// Connects and shakes hands; null with error set when that fails within the timeout.
    static std::unique_ptr<GdbRemoteBackend> connect(const GdbRemoteOptions& options, std::string& error);
    /// The same from a location "gdb://HOST:PORT" with optional "?timeout=MS", "&retries=N",
    /// "&endian=big" (HOST may be an IPv6 address in brackets).
    static std::unique_ptr<GdbRemoteBackend> connect(const std::string& location, std::string& error);
    /// Reads a location into options; false with error set when it is not one.
    static bool parseLocation(const std::string& location, GdbRemoteOptions& options, std::string& error);
    ~GdbRemoteBackend() override;

    int read(int target, std::uint32_t address, Width width, std::uint32_t& value) override;
    int write(int target, std::uint32_t address, Width width, std::uint32_t value) override;
    std::string describe() const override;

    /// One access of a batch.
    struct Access {
        std::uint32_t address;
        Width width;
    };
    /// Reads every access, each its own "m" request of its width. The requests are sent ahead of their
    /// replies, a window of 32 at a time, which saves a round trip each; with acknowledgements on, a
    /// request the server refuses is sent again and a damaged reply is acknowledged and its read asked
    /// again, each up to the retries. values receives one value per access; returns 0 or the first
    /// failure's code, after which the values from the failing access on are 0 (after a lost
    /// connection, from the first access of its window on).
    int readBatch(const std::vector<Access>& accesses, std::vector<std::uint32_t>& values);

    /// The server's PacketSize, or the default limit when it named none.
    std::size_t packetSize() const;
    /// Whether acknowledgements are off.
    bool noAckMode() const;
    bool connected() const;
    /// Whether writes go as binary "X" packets (the server answered the probe) rather than "M".
    bool binaryWrites() const;
    /// Closes the connection, if any, and connects again at once; false with error set when that fails.
    bool reconnect(std::string& error);
    /// Why the last attempt to connect failed (empty when it succeeded).
    std::string lastConnectError() const;

private:
    struct Connection;
    explicit GdbRemoteBackend(std::unique_ptr<Connection> connection);
    std::unique_ptr<Connection> m_connection;
};

} // namespace vellxml::host

#endif
