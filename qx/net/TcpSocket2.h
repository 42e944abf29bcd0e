#pragma once

#include <cstdint>

#include <qx/net/socketerror.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>

namespace qx::net {

/// Base of the sockets whose operations return codes. Whoever makes a socket owns it. One thread at
/// a time uses a socket, with one exception: another thread may shut a connection down, which ends
/// a recv or send in which the first one waits.
///
/// Nothing here throws. A null argument gives QX_E_SOCKET_EINVAL, a closed socket
/// QX_E_SOCKET_ENOTSOCK where the operation needs one.
class QX_API TcpSocket2 {
public:
    /// Starts the socket system, once per process. Everything that needs it calls this. Any thread
    /// may.
    static ENUM_QX_E_SOCKET init();
    /// Undoes the start; the next init starts it again.
    static ENUM_QX_E_SOCKET uninit();
    /// Highest version of the socket system; 0 and 0 when it did not start.
    [[nodiscard]] static ENUM_QX_E_SOCKET getVersion(int32_t* major, int32_t* minor);

    /// The address at @p index of what a host resolves to, with @p port, which is not 0.
    /// @p hints may be null.
    /// @return QX_E_SOCKET_EADDRNOTAVAIL when there are fewer, a code of the resolver when there
    ///         are none
    [[nodiscard]] static ENUM_QX_E_SOCKET getAddrInfo(const char* host, uint16_t port,
                                                      const qx_addrinfo* hints, uint32_t index,
                                                      qx_sockaddr_union* out);
    /// Shuts the output down, closes and deletes what @p socket points to, and makes it null.
    static ENUM_QX_E_SOCKET destroyTcpSocket2(TcpSocket2** socket);

    virtual ~TcpSocket2();
    TcpSocket2(const TcpSocket2&) = delete;
    TcpSocket2& operator=(const TcpSocket2&) = delete;

    /// What identifies the socket; 0 when there is none.
    virtual uint64_t getId() const = 0;
    /// A direction is shut down once; later calls, and calls after close, do nothing. A socket that
    /// is not connected is no failure.
    virtual ENUM_QX_E_SOCKET shutdownInput() = 0;
    virtual ENUM_QX_E_SOCKET shutdownOutput() = 0;
    virtual ENUM_QX_E_SOCKET shutdownBoth() = 0;
    /// Closes the socket, also when it returns a failure. Does nothing the second time.
    virtual ENUM_QX_E_SOCKET close() = 0;
    virtual int16_t getShutdownIn() const;
    virtual int16_t getShutdownOut() const;
    virtual int16_t getClosed() const;

protected:
    TcpSocket2() = default;

    virtual void setShutdownIn(int16_t value);
    virtual void setShutdownOut(int16_t value);
    virtual void setClosed(int16_t value);

    /// What is left to shut down for input, output or both, as a QX_SHUTDOWN_ number; -1 for
    /// nothing. The flags say from now on that it has happened.
    int32_t takeShutdown(bool input, bool output);

private:
    int16_t m_shutdownIn = 0;
    int16_t m_shutdownOut = 0;
    int16_t m_closed = 0;
};

} // namespace qx::net
