#pragma once

#include <cstdint>
#include <memory>

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <qx/core/String.h>

namespace qx::tls {

/// Result codes of failures that are none of the network's.
inline constexpr int32_t ProtocolFailed = static_cast<int32_t>(0x80090326u);
inline constexpr int32_t CertificateExpired =
    static_cast<int32_t>(0x800B0101u); ///< or not yet valid
inline constexpr int32_t CertificateUntrusted = static_cast<int32_t>(0x800B0109u);
inline constexpr int32_t CertificateOfAnotherHost = static_cast<int32_t>(0x800B010Fu);
inline constexpr int32_t CertificateRefused = static_cast<int32_t>(0x800B010Au); ///< anything else

/// Owner of what OpenSSL has made.
struct Freed {
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
    void operator()(SSL* session) const noexcept { SSL_free(session); }
    void operator()(BIO* bio) const noexcept { BIO_free(bio); }
    void operator()(BIO_METHOD* method) const noexcept { BIO_meth_free(method); }
};
template <class T>
using Handle = std::unique_ptr<T, Freed>;

/// OpenSSL's reason for the failure of the call before, the first that it gave; forgets it.
String takeReason();

/// The result code for an X509_V_ERR_... number.
int32_t codeOfCertificateError(int error);

/// @throws ResultException with OpenSSL's reason
[[noreturn]] void throwReason();

/// A handle that a call has made.
/// @throws ResultException when it has made none
template <class T>
Handle<T> made(T* handle) {
    if (!handle)
        throwReason();
    return Handle<T>(handle);
}

} // namespace qx::tls
