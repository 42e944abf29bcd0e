#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/io/OutputStream.h>
#include <qx/net/TcpSocketHandle.h>
#include <qx/platform/export.h>

namespace qx::net {

/// The bytes that go out over a connection, which stays open while the stream lives; closing the
/// stream does nothing. Used by one thread at a time, beside another one that reads.
class QX_API TcpSocketOutputStream : public io::OutputStream {
public:
    explicit TcpSocketOutputStream(Reference<TcpSocketHandle> handle);

    using OutputStream::write;
    /// Gives all of it to the system in one send, which waits until there was room for it. A socket
    /// that somebody has made non-blocking, or given a send time-out, takes only what there is room
    /// for: as long as that is something, the rest is lost without a failure. The sockets of
    /// TcpSocket2 tell how much was sent.
    /// @throws io::IoException "TcpSocketOutputStream::write " and the description of the error;
    ///     how much was written is then unknown. So does a connection that ends in the middle.
    void write(const signed char* from, int32_t length) override;

private:
    const Reference<TcpSocketHandle> m_handle;
    const uint64_t m_socket;
};

} // namespace qx::net
