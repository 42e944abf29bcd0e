#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <limits>
#include <ratio>
#include <type_traits>

#include <qx/core/AnyText.h>
#include <qx/core/Exception.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/net/TcpSocketHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>
#include <qx/sync/Duration.h>

namespace qx::net {

class TcpSocketInputStream;
class TcpSocketOutputStream;

/// A TCP connection as a pair of byte streams. It is closed when the socket object and both streams
/// are destroyed. A program that another thread is starting has a copy of it until it is executed,
/// which delays the end for the peer; shutdownOutput is not delayed.
///
///     const auto socket = qx::net::TcpSocket::connect(u"example.org", 7, 5s);
///     socket->getOutputStream()->write("ping", 4);
///     socket->shutdownOutput(); // the peer reads the end, and can still answer
///
/// The members may be called from any thread, the streams by one thread each.
class QX_API TcpSocket : public Object {
public:
    /// Connects to the first address of @p host, a name or a numeric address. Waits without limit.
    /// The static connect tries all addresses.
    /// @throws Exception "Unknown host: " and the host, or "TcpSocket::TcpSocket Unable to connect
    ///     to ", the host, a blank and the description of the error
    /// @throws io::IoException "TcpSocket::TcpSocket " and a description when no socket can be made
    TcpSocket(const String& host, unsigned short port);
    /// The same for a host in other forms, UTF-8 among them.
    TcpSocket(const OtherText auto& host, unsigned short port) : TcpSocket(stringOf(host), port) {}
    ~TcpSocket() override;

    /// Connects to a host, a name or a numeric address, which need not listen on its first address:
    /// its addresses are tried in turn. Waits without limit.
    /// @throws Exception "Unknown host: " and the host, or "Unable to connect to ", the host, a
    ///     blank and the description of the error
    /// @throws RangeErrorException for a port below 0 or above 65535
    static Reference<TcpSocket> connect(const AnyText& host, int64_t port) {
        return connectIn(host, checkedPort(port), std::numeric_limits<uint64_t>::max());
    }
    /// The same with one limit for all addresses, any std::chrono::duration. An address that does
    /// not answer may use as much of what is left of it as each one after it. Looking the name up
    /// counts, but is not cut short.
    /// @throws io::TimeoutException when the time was over before an address took the connection
    template <sync::Duration D>
    static Reference<TcpSocket> connect(const AnyText& host, int64_t port, const D& limit) {
        return connectIn(host, checkedPort(port), sync::roundedUp<std::milli>(limit));
    }

    /// Starts the socket system for all socket classes; every constructor does so.
    /// @throws Exception "TcpSocket::init " and the description of the error
    static void init();
    /// Undoes the start for the whole process.
    /// @throws Exception "TcpSocket::uninit " and the description of the error
    static void uninit();
    /// True between init and uninit.
    static bool getInitialized();

    /// The same stream each time, made at the first call.
    Reference<io::InputStream> getInputStream();
    Reference<io::OutputStream> getOutputStream();

    /// How long a read of the input stream waits, in milliseconds; without limit for 0 and less.
    void setSoTimeout(int milliseconds);
    /// The same for any std::chrono::duration, rounded up to milliseconds.
    /// @throws RangeErrorException for 2^31 milliseconds and more
    template <sync::Duration D>
    void setSoTimeout(const D& duration) {
        const uint64_t milliseconds = sync::roundedUp<std::milli>(duration);
        if (milliseconds > std::numeric_limits<int32_t>::max())
            throw RangeErrorException(u"time-out too long"_qs);
        setSoTimeout(duration.count() >= 0 ? static_cast<int>(milliseconds) : -1);
    }

    /// Ends the output: the peer reads its end once it has all that was written. Reading goes on.
    /// @throws io::IoException "TcpSocket: " and the description of the error, as for all of these
    void shutdownOutput();
    /// Ends the input: reads give what has come, then the end, also one in which another thread
    /// waits.
    void shutdownInput();

    /// The numeric address of an end of the connection, "127.0.0.1" or "fe80::1%2", and its port,
    /// also when the connection is over.
    String getLocalAddress() const;
    unsigned short getLocalPort() const;
    String getPeerAddress() const;
    unsigned short getPeerPort() const;

    /// Whether small writes go out at once instead of together with the next ones.
    void setNoDelay(bool isOn);
    /// Whether a peer that is silent is asked from time to time if it is still there.
    void setKeepAlive(bool isOn);
    /// A text or number is no truth value.
    template <class T>
    requires(std::is_scalar_v<T> && !std::same_as<T, bool>) void setNoDelay(T isOn) = delete;
    template <class T>
    requires(std::is_scalar_v<T> && !std::same_as<T, bool>) void setKeepAlive(T isOn) = delete;
    /// The same from @p idle on, at every @p interval, both rounded up to seconds. After @p probes
    /// without an answer the connection is taken for lost.
    template <sync::Duration Idle, sync::Duration Interval>
    void setKeepAlive(const Idle& idle, const Interval& interval, int probes) {
        setKeepAliveTimes(sync::roundedUp<std::ratio<1>>(idle),
                          sync::roundedUp<std::ratio<1>>(interval), probes);
    }

    /// "qx.net.tcp.socket=" and the number of the socket, for a child process that is to go on with
    /// the connection. Children that the program starts from now on inherit the socket, but not
    /// those of exec::Process, which inherit nothing.
    String getInheritanceId() const;

    /// Closes a native socket; a failure is ignored.
    static void close(uint64_t socket);

protected:
    friend class TcpServerSocket;

    /// Takes over a connected native socket, unless it throws.
    explicit TcpSocket(uint64_t socket);

private:
    struct End;

    TcpSocket(uint64_t socket, const qx_sockaddr_union& peer);
    static unsigned short checkedPort(int64_t port);
    static Reference<TcpSocket> connectIn(const AnyText& host, unsigned short port,
                                          uint64_t milliseconds);
    void shutdown(int32_t direction);
    void setOption(int32_t level, int32_t name, uint64_t value);
    void setKeepAliveTimes(uint64_t idleSeconds, uint64_t intervalSeconds, int probes);

    template <class Stream>
    Stream* streamOf(std::atomic<Stream*>& stream);

    // Null until asked for; each holds a reference.
    std::atomic<TcpSocketInputStream*> m_inputStream{nullptr};
    std::atomic<TcpSocketOutputStream*> m_outputStream{nullptr};
    Reference<TcpSocketHandle> m_handle;
    qx_sockaddr_union m_peer{}; // of family 0 when it was not told
};

} // namespace qx::net
