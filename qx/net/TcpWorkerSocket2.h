#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ratio>
#include <type_traits>

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
    /// Address of the peer as the system has it. @p length is the capacity, then the length.
    [[nodiscard]] ENUM_QX_E_SOCKET getPeerAddress(qx_sockaddr_union* address, int* length) const;
    /// Address that the socket is bound to, in the same way.
    [[nodiscard]] ENUM_QX_E_SOCKET getLocalAddress(qx_sockaddr_union* address, int* length) const;
    /// How many bytes recv gets at once without waiting; 0 at the end too.
    [[nodiscard]] ENUM_QX_E_SOCKET getAvailable(uint32_t* count) const;

    /// How long each recv or send waits before it returns QX_E_SOCKET_ETIMEDOUT, any
    /// std::chrono::duration, rounded up to milliseconds: without limit for 0, as at first, and
    /// less.
    /// @return QX_E_SOCKET_EINVAL for 2^32 milliseconds and more
    template <sync::Duration D>
    [[nodiscard]] ENUM_QX_E_SOCKET setReceiveTimeout(const D& limit) {
        return setTime<std::milli>(QX_SOL_SOCKET, QX_SO_RCVTIMEO, limit);
    }
    template <sync::Duration D>
    [[nodiscard]] ENUM_QX_E_SOCKET setSendTimeout(const D& limit) {
        return setTime<std::milli>(QX_SOL_SOCKET, QX_SO_SNDTIMEO, limit);
    }
    /// Whether small pieces go out at once instead of together with the next ones.
    [[nodiscard]] ENUM_QX_E_SOCKET setNoDelay(bool isOn) {
        return setOption(QX_IPPROTO_TCP, QX_TCP_NODELAY, isOn ? 1 : 0);
    }
    /// Whether a peer that is silent is asked from time to time if it is still there.
    [[nodiscard]] ENUM_QX_E_SOCKET setKeepAlive(bool isOn) {
        return setOption(QX_SOL_SOCKET, QX_SO_KEEPALIVE, isOn ? 1 : 0);
    }
    /// A text or number is no truth value.
    template <class T>
    requires(std::is_scalar_v<T> && !std::same_as<T, bool>) void setNoDelay(T isOn) = delete;
    template <class T>
    requires(std::is_scalar_v<T> && !std::same_as<T, bool>) void setKeepAlive(T isOn) = delete;
    /// The same from @p idle on, at every @p interval, both rounded up to seconds. After @p probes
    /// without an answer the connection is taken for lost.
    template <sync::Duration Idle, sync::Duration Interval>
    [[nodiscard]] ENUM_QX_E_SOCKET setKeepAlive(const Idle& idle, const Interval& interval,
                                                uint32_t probes) {
        ENUM_QX_E_SOCKET code = setTime<std::ratio<1>>(QX_IPPROTO_TCP, QX_TCP_KEEPIDLE, idle);
        if (code == 0)
            code = setTime<std::ratio<1>>(QX_IPPROTO_TCP, QX_TCP_KEEPINTVL, interval);
        if (code == 0)
            code = setOption(QX_IPPROTO_TCP, QX_TCP_KEEPCNT, probes);
        return code == 0 ? setKeepAlive(true) : code;
    }
    /// How much the system holds for this socket in either direction, in bytes.
    [[nodiscard]] ENUM_QX_E_SOCKET setReceiveBufferSize(uint32_t bytes) {
        return setOption(QX_SOL_SOCKET, QX_SO_RCVBUF, bytes);
    }
    [[nodiscard]] ENUM_QX_E_SOCKET setSendBufferSize(uint32_t bytes) {
        return setOption(QX_SOL_SOCKET, QX_SO_SNDBUF, bytes);
    }

    /// Waits until a socket can be read or written without blocking or is exceptional: out-of-band
    /// data came, or its attempt to connect failed.
    ///
    /// Each array may be null; its count, at most 63, is how many sockets it holds, and receives
    /// how many of them are ready. Slots of those that are not become null, unless the time limit
    /// (null: none) passes first; in an array that is given twice, those that are not ready for
    /// both.
    /// @p result receives how many are ready in all arrays together.
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
        const uint64_t microseconds = sync::roundedUp<std::micro>(duration, Most);
        return {static_cast<int32_t>(microseconds / Second),
                static_cast<int32_t>(microseconds % Second)};
    }

private:
    ENUM_QX_E_SOCKET shutdown(int32_t direction);
    ENUM_QX_E_SOCKET setOption(int32_t level, int32_t name, uint64_t value);
    template <class Period, sync::Duration D>
    ENUM_QX_E_SOCKET setTime(int32_t level, int32_t name, const D& time) {
        return setOption(level, name, sync::roundedUp<Period>(time));
    }

    PlatformHandle<&QXSocketClose> m_socket;
    std::unique_ptr<InetSocketAddress> m_peer;
};

} // namespace qx::net
