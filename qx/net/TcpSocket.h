#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

#include <qx/core/AnyText.h>
#include <qx/core/Exception.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/net/TcpSocketHandle.h>
#include <qx/platform/export.h>
#include <qx/sync/Duration.h>

namespace qx::net {

class TcpSocketInputStream;
class TcpSocketOutputStream;

/// A TCP connection as a pair of byte streams. It is closed when the socket object and both streams
/// are destroyed.
///
///     const auto socket = qx::makeReference<qx::net::TcpSocket>(u"example.org"_qs, 7);
///     socket->getOutputStream()->write("ping", 4);
///
/// The members may be called from any thread, the streams by one thread each.
class QX_API TcpSocket : public Object {
public:
    /// Connects to the first address of @p host, a name or a numeric address. Waits without limit.
    /// @throws Exception "Unknown host: " and the host, or "TcpSocket::TcpSocket Unable to connect
    ///     to ", the host, a blank and the description of the error
    /// @throws io::IoException "TcpSocket::TcpSocket " and a description when no socket can be made
    TcpSocket(const String& host, unsigned short port);
    /// The same for a host in other forms, UTF-8 among them.
    TcpSocket(const OtherText auto& host, unsigned short port) : TcpSocket(stringOf(host), port) {}
    ~TcpSocket() override;

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
    template <class Stream>
    Stream* streamOf(std::atomic<Stream*>& stream);

    // Null until asked for; each holds a reference.
    std::atomic<TcpSocketInputStream*> m_inputStream{nullptr};
    std::atomic<TcpSocketOutputStream*> m_outputStream{nullptr};
    Reference<TcpSocketHandle> m_handle;
};

} // namespace qx::net
