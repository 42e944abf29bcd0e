#pragma once

#include <atomic>
#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/io/InputStream.h>
#include <qx/net/TcpSocketHandle.h>
#include <qx/platform/export.h>

namespace qx::net {

/// The bytes that come in over a connection, which stays open while the stream lives; closing the
/// stream does nothing. Used by one thread at a time, beside another one that writes.
class QX_API TcpSocketInputStream : public io::InputStream {
public:
    explicit TcpSocketInputStream(Reference<TcpSocketHandle> handle);

    /// How long each read waits for the first byte, in milliseconds; without limit for 0, the
    /// default, and less.
    void setSoTimeout(int32_t milliseconds);

    using InputStream::read;
    /// -1 after the peer's orderly close.
    /// @throws io::TimeoutException "socket timeout"
    /// @throws io::IoException "TcpSocketInputStream::read " and the description of the error
    int32_t read(signed char* to, int32_t length) override;
    /// What has come in already; 0 at the end too.
    /// @throws io::IoException "TcpSocketInputStream::available " and the description of the error
    int32_t available() override;

private:
    const Reference<TcpSocketHandle> m_handle;
    const uint64_t m_socket;
    std::atomic<int32_t> m_timeoutMs{0}; ///< set by any thread
};

} // namespace qx::net
