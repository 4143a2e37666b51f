#ifndef VELLXML_TESTS_HOST_FAKE_GDB_SERVER_H
#define VELLXML_TESTS_HOST_FAKE_GDB_SERVER_H

#include <arpa/inet.h>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

/// A GDB server on a loopback port that plays a script. It answers the handshake itself (qSupported,
/// QStartNoAckMode when it offers it, "?", and the zero-length "X" probe: "OK" when it offers binary
/// writes, empty otherwise) and then sends, for each memory request ("m", "M", "X") and for each "-" the
/// client sends, the next raw text of its script: framing, acknowledgements and damage are the script's.
/// A text ending in "<close>" closes the connection after it, "<silent>" sends nothing. It serves one
/// connection, or in memory mode one after another.
class FakeGdbServer {
public:
    /// port 0 takes a free one; another port is taken again (a server restarted where it was).
    FakeGdbServer(bool offerNoAck, std::vector<std::string> script, bool answerHandshake = true,
        bool offerBinary = false, std::uint16_t port = 0)
        : m_offerNoAck(offerNoAck)
        , m_answerHandshake(answerHandshake)
        , m_offerBinary(offerBinary)
        , m_script(std::move(script))
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int one = 1;
        ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        socklen_t length = sizeof address;
        m_bound = ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) == 0;
        ::listen(m_listener, 1);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }

    ~FakeGdbServer()
    {
        m_stop = true;
        m_thread.join();
        ::close(m_listener);
    }

    std::uint16_t port() const { return m_port; }
    /// False when the port asked for could not be taken.
    bool bound() const { return m_bound; }

    /// Instead of a script: answers "m", "M" and "X" from a byte memory (bytes never written read 0), and
    /// takes a new connection when one ends. Call it before the client connects.
    void serveMemory() { m_memoryMode = true; }

    /// The memory requests received, in order (resent ones included), "X" data as sent (escaped).
    std::vector<std::string> requests()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_requests;
    }
    /// How many "-" the client sent.
    int naks() const { return m_naks; }

    static std::string packet(const std::string& payload)
    {
        unsigned sum = 0;
        for (const char c : payload)
            sum += static_cast<unsigned char>(c);
        char tail[4];
        std::snprintf(tail, sizeof tail, "#%02x", sum & 0xFF);
        return "$" + payload + tail;
    }
    /// A packet whose checksum is off by one.
    static std::string damaged(const std::string& payload)
    {
        unsigned sum = 1;
        for (const char c : payload)
            sum += static_cast<unsigned char>(c);
        char tail[4];
        std::snprintf(tail, sizeof tail, "#%02x", sum & 0xFF);
        return "$" + payload + tail;
    }

private:
    bool readable(int fd)
    {
        while (!m_stop) {
            pollfd entry {fd, POLLIN, 0};
            if (::poll(&entry, 1, 20) > 0)
                return true;
        }
        return false;
    }

    void send(int fd, const std::string& text) { (void)::send(fd, text.data(), text.size(), MSG_NOSIGNAL); }

    /// Plays the next step of the script; false when the connection is to end.
    bool playNext(int fd)
    {
        if (m_next >= m_script.size())
            return true;
        std::string step = m_script[m_next++];
        const std::string close = "<close>";
        const bool closing =
            step.size() >= close.size() && step.compare(step.size() - close.size(), close.size(), close) == 0;
        if (closing)
            step.resize(step.size() - close.size());
        if (step != "<silent>")
            send(fd, step);
        return !closing;
    }

    void serve()
    {
        // A script belongs to one connection; a memory serves one debugger after another, as servers do.
        do
            serveConnection();
        while (m_memoryMode && !m_stop);
    }

    void serveConnection()
    {
        if (!readable(m_listener))
            return;
        const int fd = ::accept(m_listener, nullptr, nullptr);
        bool noAck = false;
        std::string input;
        bool open = true;
        while (open && readable(fd)) {
            char buffer[4096];
            const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
            if (got <= 0)
                break;
            input.append(buffer, static_cast<std::size_t>(got));
            for (;;) {
                if (!input.empty() && (input[0] == '+' || input[0] == '-')) {
                    if (input[0] == '-') {
                        ++m_naks;
                        open = playNext(fd);
                    }
                    input.erase(0, 1);
                    continue;
                }
                const std::size_t hash = input.find('#');
                if (input.empty() || hash == std::string::npos || input.size() < hash + 3)
                    break;
                const std::string payload = input.substr(1, hash - 1);
                input.erase(0, hash + 3);
                const bool memoryRequest = payload[0] == 'm' || payload[0] == 'M'
                    || (payload[0] == 'X'
                        && (payload.size() < 3 || payload.compare(payload.size() - 3, 3, ",0:") != 0));
                if (m_memoryMode && memoryRequest) {
                    {
                        std::lock_guard<std::mutex> lock(m_mutex);
                        m_requests.push_back(payload);
                    }
                    send(fd, packet(memoryReply(payload)));
                    continue;
                }
                if (memoryRequest) {
                    {
                        std::lock_guard<std::mutex> lock(m_mutex);
                        m_requests.push_back(payload);
                    }
                    open = playNext(fd);
                    continue;
                }
                if (!m_answerHandshake)
                    continue;
                const std::string ack = noAck ? "" : "+";
                if (payload.rfind("qSupported", 0) == 0) {
                    send(fd,
                        ack + packet(m_offerNoAck ? "PacketSize=400;QStartNoAckMode+" : "PacketSize=400"));
                } else if (payload == "QStartNoAckMode") {
                    send(fd, ack + packet("OK"));
                    noAck = true;
                } else if (payload[0] == 'X') {
                    send(fd, ack + packet(m_offerBinary ? "OK" : ""));
                } else {
                    send(fd, ack + packet("S05"));
                }
            }
        }
        // Hold a dead connection open until the test ends: the client must give up on its own.
        while (open && readable(fd)) {
            char buffer[256];
            if (::recv(fd, buffer, sizeof buffer, 0) <= 0)
                break;
        }
        ::close(fd);
    }

    std::string memoryReply(const std::string& payload)
    {
        unsigned long address = 0;
        unsigned long length = 0;
        int consumed = 0;
        if (std::sscanf(payload.c_str() + 1, "%lx,%lx%n", &address, &length, &consumed) != 2)
            return "E01";
        std::string reply;
        // "X" data: each "}" escapes the byte after it, XOR 0x20.
        std::string binary;
        const auto dataStart = static_cast<std::size_t>(consumed) + 2;
        for (std::size_t i = dataStart; payload[0] == 'X' && i < payload.size(); ++i)
            binary += payload[i] == '}' && i + 1 < payload.size() ? static_cast<char>(payload[++i] ^ 0x20)
                                                                  : payload[i];
        if (payload[0] == 'X' && binary.size() != length)
            return "E02";
        for (unsigned long i = 0; i < length; ++i) {
            const auto at = static_cast<std::uint32_t>(address + i);
            if (payload[0] == 'X') {
                m_memory[at] = static_cast<unsigned char>(binary[i]);
            } else if (payload[0] == 'm') {
                char hex[3];
                std::snprintf(hex, sizeof hex, "%02x", m_memory[at]);
                reply += hex;
            } else {
                unsigned byte = 0;
                std::sscanf(payload.c_str() + 1 + consumed + 1 + 2 * i, "%2x", &byte);
                m_memory[at] = static_cast<unsigned char>(byte);
            }
        }
        return payload[0] == 'm' ? reply : "OK";
    }

    std::atomic<bool> m_memoryMode {false};
    std::map<std::uint32_t, unsigned char> m_memory;
    bool m_offerNoAck;
    bool m_answerHandshake;
    bool m_offerBinary;
    bool m_bound = false;
    std::vector<std::string> m_script;
    std::size_t m_next = 0;
    int m_listener = -1;
    std::uint16_t m_port = 0;
    std::atomic<bool> m_stop {false};
    std::atomic<int> m_naks {0};
    std::mutex m_mutex;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

#endif
