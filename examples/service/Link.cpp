#include "Link.h"

#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/io/ByteBuffer.h>
#include <qx/net/socketerror.h>

namespace collector {

using Clock = std::chrono::steady_clock;
using qx::io::ByteBuffer;

Link::Link(std::unique_ptr<qx::net::TcpWorkerSocket2> socket,
           qx::Reference<qx::net::ServerSide> side, std::chrono::milliseconds longest)
    : m_socket(std::move(socket)), m_side(std::move(side)), m_longest(longest) {
    // What fails here shows when the socket is used.
    static_cast<void>(m_socket->setReceiveTimeout(longest));
    static_cast<void>(m_socket->setSendTimeout(longest));
}

void Link::begin() {
    if (m_side)
        m_channel = m_side->serve(m_socket->getId());
}

std::optional<size_t> Link::receive(std::span<char> room) {
    return m_side ? receiveDecrypted(room) : receivePlain(room);
}

std::optional<size_t> Link::receivePlain(std::span<char> room) {
    int64_t count = 0;
    const ENUM_QX_E_SOCKET code = m_socket->recv(room.data(), room.size(), 0, &count);
    if (count < 0 && code == QX_E_SOCKET_ETIMEDOUT)
        return std::nullopt;
    return count < 0 ? 0 : static_cast<size_t>(count);
}

std::optional<size_t> Link::receiveDecrypted(std::span<char> room) {
    const auto patience = Clock::now() + m_longest;
    for (;;) {
        int count = 0;
        const int32_t result = qx::resultOf([&] {
            ByteBuffer buffer(reinterpret_cast<signed char*>(room.data()),
                              static_cast<uint32_t>(room.size()), QX_ENDIAN_LITTLE);
            count = m_channel->read(buffer);
        });
        if (result >= 0)
            return count < 0 ? 0 : static_cast<size_t>(count);
        if (result != QX_E_SOCKET_ETIMEDOUT || m_isEnding)
            return 0;
        if (Clock::now() >= patience)
            return std::nullopt;
    }
}

bool Link::send(std::string_view text) {
    if (!m_side)
        return sendPlain(text);
    return qx::resultOf([&] { sendEncrypted(text); }) >= 0;
}

bool Link::sendPlain(std::string_view text) {
    while (!text.empty()) {
        int64_t sent = 0;
        if (m_socket->send(text.data(), text.size(), 0, &sent) != 0)
            return false;
        text.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

void Link::sendEncrypted(std::string_view text) {
    ByteBuffer buffer(reinterpret_cast<const signed char*>(text.data()),
                      static_cast<uint32_t>(text.size()), QX_ENDIAN_LITTLE);
    while (buffer.remaining() > 0)
        m_channel->write(buffer);
}

void Link::endReceiving() {
    m_isEnding = true;
    if (!m_side)
        m_socket->shutdownInput();
}

} // namespace collector
