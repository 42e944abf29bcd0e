#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include <qx/core/Reference.h>
#include <qx/io/IChannel.h>
#include <qx/net/ServerSide.h>
#include <qx/net/TcpWorkerSocket2.h>

namespace collector {

/// The bytes of a connection, as they are or by TLS over its socket.
///
/// One thread begins, receives, sends and finishes. Any may end that, of which the one hears at
/// once or, where the end of the input would look like an attack to TLS, within a tick.
class Link {
public:
    static constexpr int32_t TickMs = 100; ///< how long a channel waits

    /// @param side  null for bytes as they are
    /// @param longest  that receive and send wait
    Link(std::unique_ptr<qx::net::TcpWorkerSocket2> socket, qx::Reference<qx::net::ServerSide> side,
         std::chrono::milliseconds longest);

    /// @throws qx::Exception when the client is no good
    void begin();
    /// How many bytes have come; 0 when no more will, nothing when none has for so long.
    std::optional<size_t> receive(std::span<char> room);
    /// False when the client does not take all of the text.
    bool send(std::string_view text);

    /// Tells the client that nothing follows, which may take seconds when that takes nothing.
    void finish() { m_channel.reset(); }

    void endReceiving();
    void end() { m_socket->shutdownBoth(); }

private:
    std::optional<size_t> receivePlain(std::span<char> room);
    std::optional<size_t> receiveDecrypted(std::span<char> room);
    bool sendPlain(std::string_view text);
    void sendEncrypted(std::string_view text);

    const std::unique_ptr<qx::net::TcpWorkerSocket2> m_socket;
    const qx::Reference<qx::net::ServerSide> m_side;
    const std::chrono::milliseconds m_longest;
    std::atomic<bool> m_isEnding{false};
    qx::Reference<qx::io::IChannel> m_channel; ///< over the socket, which has to outlive it
};

} // namespace collector
