#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <qx/core/String.h>
#include <qx/net/TcpWorkerSocket2.h>

#include "Encryption.h"
#include "LineBuffer.h"
#include "Link.h"
#include "Logs.h"
#include "Messages.h"
#include "Protocol.h"
#include "Settings.h"
#include "Statistics.h"

namespace collector {

/// What all connections share; outlives them.
struct Service {
    const Settings& settings;
    Logs& logs;
    Statistics& statistics;
    const Journal& journal;
    const Encryption& encryption;
};

/// Serves one client.
///
/// Lines that have come in are handled together, up to a thousand: their messages are queued,
/// stored with one wait for the disk, and then answered. A client that sends much without waiting
/// for answers thus pays for few waits, and one that does not take its answers waits itself.
class Connection {
public:
    Connection(const Service& service, std::unique_ptr<qx::net::TcpWorkerSocket2> socket);

    /// Until the client has left, is idle for too long, or the service stops. Throws nothing but
    /// what there is no memory for.
    void serve();
    /// To be called after that, also when it has thrown; waits for the client, too.
    void finish() { m_link.finish(); }

    /// Ends serve as soon as what has come in is answered; any thread may call it.
    void stop();
    /// Ends serve also when the client does not take its answers; any thread may call it.
    void abort();

    /// Tells a client that there is no room for it, unless it would have to be told by TLS.
    static void turnAway(const Service& service, qx::net::TcpWorkerSocket2& socket);

private:
    using Clock = std::chrono::steady_clock;

    /// Of a line: either its message or why it is refused.
    struct Answer {
        uint64_t number;
        std::string refusal;
        qx::String source;
        size_t bytes = 0;
    };

    bool begin();
    bool receive();
    void handle(const LineBuffer::Line& line);
    void handle(const Message& message);
    void handle(Command command);
    void handle(const Mistake& mistake);
    void answer();
    void end(std::string_view reason);
    void send(std::string_view text);

    const Service& m_service;
    const qx::String m_peer;
    Link m_link;
    LineBuffer m_lines;
    std::vector<Answer> m_answers;
    uint64_t m_lineNumber = 0;
    Clock::time_point m_waitingSince = Clock::now();
    bool m_isOpen = true;
    std::atomic<bool> m_isStopping{false};
};

} // namespace collector
