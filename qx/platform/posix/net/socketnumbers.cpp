#include "qx/platform/posix/net/socketnumbers.h"

#include <cerrno>
#include <netdb.h>
#include <sys/socket.h>

namespace qx::platform {

namespace {

// clang-format off
constexpr NumberPair ErrorRows[] = {
    {10004, EINTR},
    {10013, EACCES},
    {10013, EPERM},
    {10014, EFAULT},
    {10022, EINVAL},
    {10024, EMFILE},
    {10024, ENFILE},
    {10035, EAGAIN},
    {10036, EINPROGRESS},
    {10037, EALREADY},
    {10038, ENOTSOCK},
    {10038, EBADF}, // a closed socket is no socket any more
    {10039, EDESTADDRREQ},
    {10040, EMSGSIZE},
    {10041, EPROTOTYPE},
    {10042, ENOPROTOOPT},
    {10043, EPROTONOSUPPORT},
    {10044, ESOCKTNOSUPPORT},
    {10045, EOPNOTSUPP},
    {10046, EPFNOSUPPORT},
    {10047, EAFNOSUPPORT},
    {10048, EADDRINUSE},
    {10049, EADDRNOTAVAIL},
    {10050, ENETDOWN},
    {10051, ENETUNREACH},
    {10052, ENETRESET},
    {10053, ECONNABORTED},
    {10054, ECONNRESET},
    {10054, EPIPE}, // unless the own output was shut down, which only the sender can tell
    {10055, ENOBUFS},
    {10055, ENOMEM},
    {10056, EISCONN},
    {10057, ENOTCONN},
    {10058, ESHUTDOWN},
    {10059, ETOOMANYREFS},
    {10060, ETIMEDOUT},
    {10061, ECONNREFUSED},
    {10062, ELOOP},
    {10063, ENAMETOOLONG},
    {10064, EHOSTDOWN},
    {10065, EHOSTUNREACH},
    {10066, ENOTEMPTY},
    {10068, EUSERS},
    {10069, EDQUOT},
    {10070, ESTALE},
    {10071, EREMOTE},
    {10103, ECANCELED},
};

constexpr NumberPair ResolverRows[] = {
    { 2008, EAI_MEMORY},
    {12022, EAI_BADFLAGS},
    {12044, EAI_SOCKTYPE},
    {12047, EAI_FAMILY},
    {12109, EAI_SERVICE},
    {13001, EAI_NONAME},
    {13002, EAI_AGAIN},
    {13003, EAI_FAIL},
    {14001, EAI_NODATA},
    {14001, EAI_ADDRFAMILY}, // the host has no address of the family
    {10014, EAI_OVERFLOW},   // a buffer is too small
};
// clang-format on

constexpr int32_t SystemCallFailure = 10107;
constexpr int32_t ResolverFailure = 13003;

constinit thread_local int32_t t_lastError = 0;

} // namespace

int32_t socketErrorNumber(int error) noexcept {
    if (error == 0)
        return 0;
    for (const NumberPair& row : ErrorRows) {
        if (row.system == error)
            return row.described;
    }
    return SystemCallFailure;
}

int32_t resolverErrorNumber(int error) noexcept {
    if (error == 0)
        return 0;
    if (error == EAI_SYSTEM)
        return errno == 0 ? ResolverFailure : socketErrorNumber(errno);
    for (const NumberPair& row : ResolverRows) {
        if (row.system == error)
            return row.described;
    }
    return ResolverFailure;
}

int32_t socketFailedWith(int32_t number) noexcept {
    t_lastError = number;
    return QX_SOCKET_ERROR;
}

int32_t socketFailed() noexcept { return socketFailedWith(socketErrorNumber(errno)); }

int32_t socketFailed(int error) noexcept {
    errno = error;
    return socketFailed();
}

int systemFamily(int32_t family) noexcept {
    switch (family) {
    case QX_AF_UNSPEC:
        return AF_UNSPEC;
    case QX_AF_INET:
        return AF_INET;
    case QX_AF_INET6:
    case AF_INET6:
        return AF_INET6;
    default:
        return -1;
    }
}

uint16_t interfaceFamily(int family) noexcept {
    return family == AF_INET ? QX_AF_INET : family == AF_INET6 ? QX_AF_INET6 : QX_AF_UNSPEC;
}

} // namespace qx::platform

int32_t QXSocketLastError() { return qx::platform::t_lastError; }

int32_t QXSocketErrorFromErrno(int32_t error) { return qx::platform::socketErrorNumber(error); }

int32_t QXErrnoFromSocketError(int32_t number) {
    for (const auto& row : qx::platform::ErrorRows) {
        if (row.described == number)
            return row.system;
    }
    return 0;
}

uint16_t QXSocketFamily(int32_t family) {
    return qx::platform::interfaceFamily(qx::platform::systemFamily(family));
}
