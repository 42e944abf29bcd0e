#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <qx/core/PlatformHandle.h>
#include <qx/net/InetSocketAddress.h>
#include <qx/net/TcpSocket2.h>
#include <qx/sync/Duration.h>

namespace qx::net {

/// One connection, or a socket that may become one.
class QX_API TcpWorkerSocket2 : public TcpSocket2 {
public:
    /// Takes over a native socket, also when @p error, which may be null, receives a failure: the
    /// code with which the socket system did not start, or that of making the peer's address.
    explicit TcpWorkerSocket2(uint64_t nativeSocket, ENUM_QX_E_SOCKET* error);
    TcpWorkerSocket2(uint64_t nativeSocket, const qx_sockaddr_union* peer, ENUM_QX_E_SOCKET* error);
    /// Shuts the output down and closes, unless that has happened.
    ~TcpWorkerSocket2() override;

    /// The native socket, a file descriptor; 0 when there is none.
    uint64_t getId() const override;
    ENUM_QX_E_SOCKET shutdownInput() override;
    ENUM_QX_E_SOCKET shutdownOutput() override;
    ENUM_QX_E_SOCKET shutdownBoth() override;
    ENUM_QX_E_SOCKET close() override;

    /// An option by the numbers QX_SOL_..., QX_SO_... of the platform layer, most of them four
    /// bytes. @p length is the capacity, then the length of the value.
    [[nodiscard]] virtual ENUM_QX_E_SOCKET getsockopt(int32_t level, int32_t name, char* value,
                                                      int* length);
    /// Receives up to @p length bytes, of which the lower 32 bits count. @p flags: QX_MSG_... bits.
    /// @p count receives the number of bytes, 0 after the peer's orderly close and -1 for a
    /// failure.
    /// @return 0 for at least one byte, else the code of the calling thread's last socket error,
    ///         which after an orderly close is an older one or 0
    [[nodiscard]] virtual ENUM_QX_E_SOCKET recv(char* buffer, size_t length, int32_t flags,
                                                int64_t* count);
    /// Sends @p length bytes in one call, results as with recv.
    [[nodiscard]] virtual ENUM_QX_E_SOCKET send(const char* buffer, size_t length, int32_t flags,
                                                int64_t* count);
    [[nodiscard]] virtual ENUM_QX_E_SOCKET setsockopt(int32_t level, int32_t name,
                                                      const char* value, int length);

    /// Address of the peer as it was given, null if it was not; owned by this object.
    const InetSocketAddress* getPeerAddress() const { return m_peer.get(); }

    /// Waits until a socket can be read or written without blocking or is exceptional: out-of-band
    /// data came, or its attempt to connect failed.
    ///
    /// Each array may be null; its count, at most 63, is how many sockets it holds, and receives
    /// how many of them are ready. Slots of those that are not become null, unless the time limit
    /// (null: none) passes first. @p result receives how many are ready in all arrays together.
    /// @return the pending error of the last exceptional socket; QX_E_SOCKET_EMFILE for a count of
    ///         64 or more, QX_E_SOCKET_ENOTSOCK when a socket is closed or null
    [[nodiscard]] static ENUM_QX_E_SOCKET
    select(TcpWorkerSocket2** readSockets, uint32_t* readCount, TcpWorkerSocket2** writeSockets,
           uint32_t* writeCount, TcpWorkerSocket2** exceptionSockets, uint32_t* exceptionCount,
           const qx_timeval* timeout, int32_t* result);

    /// Any std::chrono::duration as a time limit of select, rounded up to microseconds: no time for
    /// a negative one, 68 years for a longer one.
    template <sync::Duration D>
    static qx_timeval timeLimit(const D& duration) {
        constexpr uint64_t Second = 1'000'000;
        constexpr uint64_t Most = INT32_MAX * Second;
        const uint64_t microseconds = std::min(sync::roundedUp<std::micro>(duration), Most);
        return {static_cast<int32_t>(microseconds / Second),
                static_cast<int32_t>(microseconds % Second)};
    }

private:
    ENUM_QX_E_SOCKET shutdown(int32_t direction);

    PlatformHandle<&QXSocketClose> m_socket;
    std::unique_ptr<InetSocketAddress> m_peer;
};

} // namespace qx::net
