#include <vellxml/host/gdb_remote.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vellxml::host {

namespace {

using Clock = std::chrono::steady_clock;

/// Replies may always be this long, whatever PacketSize the server names: enough for qSupported.
constexpr std::size_t kMinimumReplyLimit = 4096;
/// How many reads a batch sends ahead of their replies.
constexpr std::size_t kBatchWindow = 32;

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string hexByte(unsigned value)
{
    static const char digits[] = "0123456789abcdef";
    return {digits[(value >> 4) & 0xF], digits[value & 0xF]};
}

std::string hexNumber(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(value));
    return text;
}

std::string framed(const std::string& payload)
{
    unsigned sum = 0;
    for (const char c : payload)
        sum += static_cast<unsigned char>(c);
    return "$" + payload + "#" + hexByte(sum & 0xFF);
}

/// The bytes of value in the target's order, as an access of width moves them.
std::string valueBytes(std::uint32_t value, Width width, bool bigEndian)
{
    const int bytes = bytesOf(width);
    std::string data;
    for (int i = 0; i < bytes; ++i) {
        const int shift = bigEndian ? 8 * (bytes - 1 - i) : 8 * i;
        data += static_cast<char>((value >> shift) & 0xFF);
    }
    return data;
}

/// Binary data inside a packet: "#", "$" and "}" would end or frame it and "*" would read as run-length
/// encoding, so each is sent as "}" and the byte XOR 0x20.
std::string escaped(const std::string& data)
{
    std::string out;
    for (const char c : data) {
        if (c == '#' || c == '$' || c == '}' || c == '*') {
            out += '}';
            out += static_cast<char>(c ^ 0x20);
        } else {
            out += c;
        }
    }
    return out;
}

/// The request that probes for binary writes: a zero-length "X", which changes nothing. A server without
/// them answers it with an empty packet.
constexpr const char* kBinaryProbe = "X0,0:";

std::string readRequest(std::uint32_t address, Width width)
{
    return "m" + hexNumber(address) + "," + hexNumber(static_cast<std::uint32_t>(bytesOf(width)));
}

/// An "E NN" reply as its code; 0 when the reply is not one.
int errorReplyCode(const std::string& reply)
{
    if (reply.size() == 3 && reply[0] == 'E' && hexDigit(reply[1]) >= 0 && hexDigit(reply[2]) >= 0)
        return kGdbErrorBase + hexDigit(reply[1]) * 16 + hexDigit(reply[2]);
    return 0;
}

/// Whether a reply reports that the target stopped or ended ("S05", "T05thread:01;", "W00", "X09"): none of
/// them can answer "m" (hexadecimal or "E NN") or "M" ("OK" or "E NN").
bool isStopReply(const std::string& reply)
{
    return !reply.empty() && (reply[0] == 'S' || reply[0] == 'T' || reply[0] == 'W' || reply[0] == 'X');
}

} // namespace

struct GdbRemoteBackend::Connection {
    GdbRemoteOptions options;
    int fd = -1;
    bool noAck = false;
    std::size_t packetSize = kMinimumReplyLimit;
    /// Whether writes go as binary "X" packets: the server answered the zero-length probe.
    bool binaryWrites = false;
    /// Why the last attempt to connect failed; empty after a success.
    std::string lastError;
    /// Until when a call made without a connection fails at once instead of trying to connect again.
    Clock::time_point quietUntil {};
    std::string input;
    std::size_t inputAt = 0;

    ~Connection() { drop(); }

    void drop()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
        input.clear();
        inputAt = 0;
    }

    Clock::time_point deadline() const { return Clock::now() + std::chrono::milliseconds(options.timeoutMs); }

    /// Milliseconds left until deadline, for poll.
    static int remaining(Clock::time_point deadline)
    {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        return left.count() > 0 ? static_cast<int>(left.count()) : 0;
    }

    /// Waits for fd to be ready; kGdbTimeout when the deadline passes first.
    int wait(short events, Clock::time_point deadline)
    {
        for (;;) {
            pollfd entry {fd, events, 0};
            const int ready = ::poll(&entry, 1, remaining(deadline));
            if (ready > 0)
                return 0;
            if (ready == 0)
                return kGdbTimeout;
            if (errno != EINTR)
                return kGdbClosed;
        }
    }

    /// A transport failure: the connection cannot be trusted any more.
    int fail(int code)
    {
        drop();
        return code;
    }

    int nextByte(char& c, Clock::time_point deadline)
    {
        while (inputAt >= input.size()) {
            input.clear();
            inputAt = 0;
            if (const int waited = wait(POLLIN, deadline); waited != 0)
                return fail(waited);
            char buffer[4096];
            const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
            if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK))
                return fail(kGdbClosed);
            if (got > 0)
                input.assign(buffer, static_cast<std::size_t>(got));
        }
        c = input[inputAt++];
        return 0;
    }

    int sendRaw(const std::string& bytes, Clock::time_point deadline)
    {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            if (const int waited = wait(POLLOUT, deadline); waited != 0)
                return fail(waited);
            const ssize_t put = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (put < 0 && errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK)
                return fail(kGdbClosed);
            if (put > 0)
                sent += static_cast<std::size_t>(put);
        }
        return 0;
    }

    /// Sends one packet; with acknowledgements, until the server takes it with "+".
    int sendPacket(const std::string& payload, Clock::time_point deadline)
    {
        const std::string packet = framed(payload);
        for (int attempt = 0;; ++attempt) {
            if (const int sent = sendRaw(packet, deadline); sent != 0)
                return sent;
            if (noAck)
                return 0;
            for (;;) {
                char c = 0;
                if (const int got = nextByte(c, deadline); got != 0)
                    return got;
                if (c == '+')
                    return 0;
                if (c == '$') {
                    // A reply without the acknowledgement: it says as much.
                    --inputAt;
                    return 0;
                }
                if (c == '-')
                    break;
                // Anything else is noise between packets.
            }
            if (attempt >= options.retries)
                return kGdbBadChecksum;
        }
    }

    /// Reads one reply packet into payload (run-length encoding expanded). Bytes before its "$" and
    /// notifications ("%...#xx") are skipped. A damaged packet is refused with "-" when acknowledgements
    /// are on (the server sends it again) and reported as kGdbBadChecksum when they are off.
    int receivePacket(std::string& payload, Clock::time_point deadline)
    {
        const std::size_t limit = std::max(packetSize, kMinimumReplyLimit);
        for (int attempt = 0;; ++attempt) {
            char c = 0;
            do {
                if (const int got = nextByte(c, deadline); got != 0)
                    return got;
                if (c == '%') {
                    std::string ignored;
                    if (const int skipped = readBody(ignored, limit, deadline); skipped < 0)
                        return -skipped;
                    c = 0;
                }
            } while (c != '$');
            payload.clear();
            const int checked = readBody(payload, limit, deadline);
            if (checked < 0)
                return -checked;
            if (checked == 1) {
                if (!noAck) {
                    if (const int sent = sendRaw("+", deadline); sent != 0)
                        return sent;
                }
                return 0;
            }
            // Asking for a copy that will not be read would leave it in the way of the next reply.
            if (noAck || attempt >= options.retries)
                return kGdbBadChecksum;
            if (const int sent = sendRaw("-", deadline); sent != 0)
                return sent;
        }
    }

    /// Reads a packet body after its start character, through "#" and the two checksum digits, into
    /// body with run-length encoding expanded. Returns 1 when the checksum holds, 0 when not, or a
    /// failure code negated.
    int readBody(std::string& body, std::size_t limit, Clock::time_point deadline)
    {
        unsigned sum = 0;
        char c = 0;
        for (;;) {
            if (const int got = nextByte(c, deadline); got != 0)
                return -got;
            if (c == '#')
                break;
            sum += static_cast<unsigned char>(c);
            if (c == '*' && !body.empty()) {
                char count = 0;
                if (const int got = nextByte(count, deadline); got != 0)
                    return -got;
                sum += static_cast<unsigned char>(count);
                const int repeat = static_cast<unsigned char>(count) - 29;
                if (repeat > 0)
                    body.append(static_cast<std::size_t>(repeat), body.back());
            } else {
                body += c;
            }
            if (body.size() > limit)
                return -fail(kGdbOversized);
        }
        char high = 0;
        char low = 0;
        if (const int got = nextByte(high, deadline); got != 0)
            return -got;
        if (const int got = nextByte(low, deadline); got != 0)
            return -got;
        const int expected = hexDigit(high) * 16 + hexDigit(low);
        return hexDigit(high) >= 0 && hexDigit(low) >= 0 && expected == static_cast<int>(sum & 0xFF) ? 1 : 0;
    }

    /// One request and its reply. Without acknowledgements a damaged reply is asked for again only when
    /// repeating the request is harmless (reads).
    int transact(const std::string& request, std::string& reply, bool mayRepeat)
    {
        if (fd < 0)
            return kGdbNotConnected;
        for (int attempt = 0;; ++attempt) {
            const Clock::time_point until = deadline();
            if (const int sent = sendPacket(request, until); sent != 0)
                return sent;
            int received = receivePacket(reply, until);
            // A server stops a running target when a debugger connects and may say so on its own: such a
            // stop reply answers no memory request, and is passed over.
            while (received == 0 && request[0] != '?' && isStopReply(reply))
                received = receivePacket(reply, until);
            if (received != kGdbBadChecksum || !noAck || !mayRepeat || attempt >= options.retries)
                return received;
        }
    }

    /// The value of an "m" reply for an access of width, or the reply's failure.
    int decodeRead(const std::string& reply, Width width, std::uint32_t& value) const
    {
        if (const int code = errorReplyCode(reply))
            return code;
        if (reply.empty())
            return kGdbUnsupported;
        const int bytes = bytesOf(width);
        if (reply.size() != static_cast<std::size_t>(2 * bytes))
            return kGdbMalformed;
        std::uint32_t result = 0;
        for (int i = 0; i < bytes; ++i) {
            const int high = hexDigit(reply[static_cast<std::size_t>(2 * i)]);
            const int low = hexDigit(reply[static_cast<std::size_t>(2 * i + 1)]);
            if (high < 0 || low < 0)
                return kGdbMalformed;
            const auto byte = static_cast<std::uint32_t>(high * 16 + low);
            const int shift = options.bigEndian ? 8 * (bytes - 1 - i) : 8 * i;
            result |= byte << shift;
        }
        value = result;
        return 0;
    }

    /// "X ADDR,LEN:DATA" with the bytes in binary when the server takes it, "M ADDR,LEN:HEX" otherwise.
    std::string writeRequest(std::uint32_t address, Width width, std::uint32_t value) const
    {
        const std::string data = valueBytes(value, width, options.bigEndian);
        const std::string head =
            hexNumber(address) + "," + hexNumber(static_cast<std::uint32_t>(data.size())) + ":";
        if (binaryWrites)
            return "X" + head + escaped(data);
        std::string request = "M" + head;
        for (const char c : data)
            request += hexByte(static_cast<unsigned char>(c));
        return request;
    }

    /// Connects and shakes hands; on failure the connection stays closed and error says why.
    bool open(std::string& error)
    {
        drop();
        noAck = false;
        packetSize = kMinimumReplyLimit;
        binaryWrites = false;
        const bool opened = connectSocket(error) && handshake(error);
        if (!opened)
            drop();
        lastError = opened ? std::string() : error;
        return opened;
    }

    /// Before an access: a connection lost by an earlier call is made again. After an attempt that failed,
    /// the calls of the next timeout period fail at once, so that a long run of accesses against a dead
    /// server does not wait out the timeout each time. Returns 0 or kGdbNotConnected.
    int ensureConnected()
    {
        if (fd >= 0)
            return 0;
        if (Clock::now() < quietUntil)
            return kGdbNotConnected;
        std::string error;
        if (open(error))
            return 0;
        quietUntil = deadline();
        return kGdbNotConnected;
    }

    bool connectSocket(std::string& error)
    {
        addrinfo hints {};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        const std::string port = std::to_string(options.port);
        if (const int status = ::getaddrinfo(options.host.c_str(), port.c_str(), &hints, &found);
            status != 0) {
            error = "cannot resolve " + options.host + ": " + gai_strerror(status);
            return false;
        }
        const Clock::time_point until = deadline();
        const std::string cannot = "cannot connect to " + options.host + ":" + port;
        error = cannot;
        for (addrinfo* at = found; at && fd < 0; at = at->ai_next) {
            fd = ::socket(at->ai_family, at->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, at->ai_protocol);
            if (fd < 0)
                continue;
            int status = ::connect(fd, at->ai_addr, at->ai_addrlen);
            if (status != 0 && errno == EINPROGRESS) {
                int soError = 0;
                socklen_t length = sizeof soError;
                const int waited = wait(POLLOUT, until);
                status = waited == 0 && ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &soError, &length) == 0
                        && soError == 0
                    ? 0
                    : -1;
                if (waited == kGdbTimeout)
                    error = cannot + ": timed out";
                else if (soError != 0)
                    error = cannot + ": " + std::strerror(soError);
            } else if (status != 0) {
                error = cannot + ": " + std::strerror(errno);
            }
            if (status != 0)
                drop();
        }
        ::freeaddrinfo(found);
        if (fd < 0)
            return false;
        const int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        return true;
    }

    bool handshake(std::string& error)
    {
        const std::string where = options.host + ":" + std::to_string(options.port);
        std::string reply;
        if (const int status = transact("qSupported", reply, true); status != 0) {
            error = "no answer from a GDB server at " + where + " (code " + std::to_string(status) + ")";
            return false;
        }
        bool offersNoAck = false;
        std::size_t from = 0;
        while (from <= reply.size()) {
            const std::size_t end = std::min(reply.find(';', from), reply.size());
            const std::string feature = reply.substr(from, end - from);
            if (feature == "QStartNoAckMode+")
                offersNoAck = true;
            else if (feature.rfind("PacketSize=", 0) == 0)
                packetSize = std::strtoul(feature.c_str() + 11, nullptr, 16);
            from = end + 1;
        }
        if (offersNoAck) {
            if (const int status = transact("QStartNoAckMode", reply, false); status != 0) {
                error = "the GDB server at " + where + " failed to leave acknowledgements off";
                return false;
            }
            noAck = reply == "OK";
        }
        if (const int status = transact("?", reply, true); status != 0) {
            error =
                "the GDB server at " + where + " gave no stop reason (code " + std::to_string(status) + ")";
            return false;
        }
        if (const int status = transact(kBinaryProbe, reply, false); status != 0) {
            error = "the GDB server at " + where + " did not answer a binary write probe (code "
                + std::to_string(status) + ")";
            return false;
        }
        // Any answer but the empty one ("OK", or an error about the address) says the server knows "X".
        binaryWrites = !reply.empty();
        return true;
    }
};

bool GdbRemoteBackend::parseLocation(
    const std::string& location, GdbRemoteOptions& options, std::string& error)
{
    const std::string scheme = "gdb://";
    if (location.rfind(scheme, 0) != 0) {
        error = "not a gdb:// location: '" + location + "'";
        return false;
    }
    std::string rest = location.substr(scheme.size());
    std::string query;
    if (const std::size_t mark = rest.find('?'); mark != std::string::npos) {
        query = rest.substr(mark + 1);
        rest.resize(mark);
    }
    std::size_t colon = std::string::npos;
    if (!rest.empty() && rest[0] == '[') {
        const std::size_t close = rest.find(']');
        if (close == std::string::npos || close + 1 >= rest.size() || rest[close + 1] != ':') {
            error = "expected gdb://[ADDRESS]:PORT, got '" + location + "'";
            return false;
        }
        options.host = rest.substr(1, close - 1);
        colon = close + 1;
    } else {
        colon = rest.rfind(':');
        if (colon == std::string::npos || colon == 0) {
            error = "expected gdb://HOST:PORT, got '" + location + "'";
            return false;
        }
        options.host = rest.substr(0, colon);
    }
    const std::string port = rest.substr(colon + 1);
    char* end = nullptr;
    const long number = std::strtol(port.c_str(), &end, 10);
    if (port.empty() || *end != '\0' || number < 1 || number > 65535) {
        error = "not a port number: '" + port + "'";
        return false;
    }
    options.port = static_cast<std::uint16_t>(number);
    std::size_t from = 0;
    while (!query.empty() && from <= query.size()) {
        const std::size_t amp = std::min(query.find('&', from), query.size());
        const std::string item = query.substr(from, amp - from);
        from = amp + 1;
        const std::size_t equals = item.find('=');
        const std::string key = item.substr(0, equals);
        const std::string value = equals == std::string::npos ? std::string() : item.substr(equals + 1);
        const long parsed = std::strtol(value.c_str(), &end, 10);
        const bool isNumber = !value.empty() && *end == '\0';
        if (key == "timeout" && isNumber && parsed > 0 && parsed <= 600000) {
            options.timeoutMs = static_cast<int>(parsed);
        } else if (key == "retries" && isNumber && parsed >= 0 && parsed <= 100) {
            options.retries = static_cast<int>(parsed);
        } else if (key == "endian" && (value == "big" || value == "little")) {
            options.bigEndian = value == "big";
        } else {
            error = "unknown option '" + item + "' (timeout=MS, retries=N, endian=big|little)";
            return false;
        }
    }
    return true;
}

std::unique_ptr<GdbRemoteBackend> GdbRemoteBackend::connect(
    const GdbRemoteOptions& options, std::string& error)
{
    auto connection = std::make_unique<Connection>();
    connection->options = options;
    if (!connection->open(error))
        return nullptr;
    return std::unique_ptr<GdbRemoteBackend>(new GdbRemoteBackend(std::move(connection)));
}

std::unique_ptr<GdbRemoteBackend> GdbRemoteBackend::connect(const std::string& location, std::string& error)
{
    GdbRemoteOptions options;
    if (!parseLocation(location, options, error))
        return nullptr;
    return connect(options, error);
}

GdbRemoteBackend::GdbRemoteBackend(std::unique_ptr<Connection> connection)
    : m_connection(std::move(connection))
{
}

GdbRemoteBackend::~GdbRemoteBackend() = default;

int GdbRemoteBackend::read(int, std::uint32_t address, Width width, std::uint32_t& value)
{
    if (width == Width::Internal8)
        return kGdbNoInternalRegisters;
    if (const int status = m_connection->ensureConnected(); status != 0)
        return status;
    std::string reply;
    if (const int status = m_connection->transact(readRequest(address, width), reply, true); status != 0)
        return status;
    return m_connection->decodeRead(reply, width, value);
}

int GdbRemoteBackend::write(int, std::uint32_t address, Width width, std::uint32_t value)
{
    if (width == Width::Internal8)
        return kGdbNoInternalRegisters;
    Connection& c = *m_connection;
    if (const int status = c.ensureConnected(); status != 0)
        return status;
    std::string reply;
    if (const int status = c.transact(c.writeRequest(address, width, value), reply, false); status != 0)
        return status;
    if (reply.empty() && c.binaryWrites) {
        // The server took the probe but not this "X": it wrote nothing, and "M" says the same in hex.
        c.binaryWrites = false;
        if (const int status = c.transact(c.writeRequest(address, width, value), reply, false); status != 0)
            return status;
    }
    if (reply == "OK")
        return 0;
    if (const int code = errorReplyCode(reply))
        return code;
    return reply.empty() ? kGdbUnsupported : kGdbMalformed;
}

int GdbRemoteBackend::readBatch(const std::vector<Access>& accesses, std::vector<std::uint32_t>& values)
{
    values.assign(accesses.size(), 0);
    Connection& c = *m_connection;
    if (const int status = c.ensureConnected(); status != 0)
        return status;
    const std::size_t limit = std::max(c.packetSize, kMinimumReplyLimit);
    for (std::size_t start = 0; start < accesses.size(); start += kBatchWindow) {
        const std::size_t end = std::min(accesses.size(), start + kBatchWindow);
        std::string requests;
        for (std::size_t i = start; i < end; ++i) {
            if (accesses[i].width == Width::Internal8)
                return kGdbNoInternalRegisters;
            requests += framed(readRequest(accesses[i].address, accesses[i].width));
        }
        if (c.fd < 0)
            return kGdbNotConnected;
        Clock::time_point until = c.deadline();
        if (const int sent = c.sendRaw(requests, until); sent != 0)
            return sent;
        // The window's requests are in flight together. With acknowledgements, each is taken ("+") or
        // refused ("-") in the order sent, and a taken one is answered before the next is taken: a reply
        // belongs to the oldest request taken and not yet answered. A refused request is sent again at the
        // end. A damaged reply is acknowledged all the same (a server that resends keeps only its newest
        // packet, which may answer another request) and its read is asked again, as reads may be.
        std::deque<std::size_t> unacknowledged;
        std::deque<std::size_t> taken;
        for (std::size_t i = start; i < end; ++i)
            (c.noAck ? taken : unacknowledged).push_back(i);
        std::vector<int> status(end - start, 0);
        // A lost connection fails the whole window.
        const auto lost = [&](int code) {
            std::fill(values.begin() + static_cast<std::ptrdiff_t>(start), values.end(), 0u);
            return code;
        };
        std::vector<int> tries(end - start, 0);
        const auto sendAgain = [&](std::size_t i) {
            if (tries[i - start]++ >= c.options.retries) {
                status[i - start] = kGdbBadChecksum;
                return 0;
            }
            const std::string request = framed(readRequest(accesses[i].address, accesses[i].width));
            if (const int sent = c.sendRaw(request, until); sent != 0)
                return sent;
            (c.noAck ? taken : unacknowledged).push_back(i);
            return 0;
        };
        while (!unacknowledged.empty() || !taken.empty()) {
            char ch = 0;
            if (const int got = c.nextByte(ch, until); got != 0)
                return lost(got);
            if (!c.noAck && ch == '+' && !unacknowledged.empty()) {
                taken.push_back(unacknowledged.front());
                unacknowledged.pop_front();
                continue;
            }
            if (!c.noAck && ch == '-' && !unacknowledged.empty()) {
                const std::size_t refused = unacknowledged.front();
                unacknowledged.pop_front();
                if (const int sent = sendAgain(refused); sent != 0)
                    return lost(sent);
                continue;
            }
            if (ch != '$' && ch != '%')
                continue; // noise between packets
            std::string reply;
            const int checked = c.readBody(reply, limit, until);
            if (checked < 0)
                return lost(-checked);
            if (ch == '%')
                continue; // a notification
            if (!c.noAck) {
                if (const int sent = c.sendRaw("+", until); sent != 0)
                    return lost(sent);
            }
            if (checked == 1 && isStopReply(reply))
                continue;
            if (taken.empty()) {
                // A reply without its acknowledgement: it says as much.
                if (unacknowledged.empty())
                    continue;
                taken.push_back(unacknowledged.front());
                unacknowledged.pop_front();
            }
            const std::size_t i = taken.front();
            taken.pop_front();
            until = c.deadline();
            if (checked != 1) {
                if (const int sent = sendAgain(i); sent != 0)
                    return lost(sent);
                continue;
            }
            status[i - start] = c.decodeRead(reply, accesses[i].width, values[i]);
        }
        // Every reply of the window is in, so that the next request meets its own; the first failure
        // ends the batch, and the values from it on are 0.
        for (std::size_t i = start; i < end; ++i) {
            if (status[i - start] != 0) {
                std::fill(values.begin() + static_cast<std::ptrdiff_t>(i), values.end(), 0u);
                return status[i - start];
            }
        }
    }
    return 0;
}

std::string GdbRemoteBackend::describe() const
{
    return "gdb://" + m_connection->options.host + ":" + std::to_string(m_connection->options.port);
}

std::size_t GdbRemoteBackend::packetSize() const
{
    return m_connection->packetSize;
}

bool GdbRemoteBackend::noAckMode() const
{
    return m_connection->noAck;
}

bool GdbRemoteBackend::connected() const
{
    return m_connection->fd >= 0;
}

bool GdbRemoteBackend::binaryWrites() const
{
    return m_connection->binaryWrites;
}

bool GdbRemoteBackend::reconnect(std::string& error)
{
    if (m_connection->open(error))
        return true;
    m_connection->quietUntil = m_connection->deadline();
    return false;
}

std::string GdbRemoteBackend::lastConnectError() const
{
    return m_connection->lastError;
}

} // namespace vellxml::host
