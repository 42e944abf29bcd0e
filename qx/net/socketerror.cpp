#include "qx/net/socketerror.h"

#include <algorithm>
#include <iterator>

#include <qx/platform/net.h>
#include <qx/platform/result.h>

namespace qx::net {

namespace {

struct CodeRow {
    ENUM_QX_E_SOCKET code;
    const char16_t* description;

    constexpr int number() const { return code & 0xFFFF; }
};

// In ascending order of the number.
// clang-format off
constexpr CodeRow CodeRows[] = {
    {QX_E_SOCKET_EAI_MEMORY, u"EAI_MEMORY Memory allocation failure."},
    {QX_E_SOCKET_EINTR,
     u"EINTR A blocking operation was interrupted by a call to WSACancelBlockingCall."},
    {QX_E_SOCKET_EBADF, u"EBADF The socket handle supplied is not valid. "},
    {QX_E_SOCKET_EACCES,
     u"EACCES An attempt was made to access a socket in a way forbidden by its access "
     u"permissions. "},
    {QX_E_SOCKET_EFAULT,
     u"EFAULT An address supplied to the call lies outside the memory that may be used. "},
    {QX_E_SOCKET_EINVAL, u"EINVAL An invalid argument was supplied. "},
    {QX_E_SOCKET_EMFILE, u"EMFILE Too many sockets are open. "},
    {QX_E_SOCKET_EWOULDBLOCK,
     u"EWOULDBLOCK A non-blocking socket operation could not be completed immediately. "},
    {QX_E_SOCKET_EINPROGRESS, u"EINPROGRESS A blocking operation is in progress already. "},
    {QX_E_SOCKET_EALREADY,
     u"EALREADY The non-blocking socket has an operation in progress already. "},
    {QX_E_SOCKET_ENOTSOCK,
     u"ENOTSOCK The operation was attempted on something that is not a socket. "},
    {QX_E_SOCKET_EDESTADDRREQ, u"EDESTADDRREQ A required address was left out. "},
    {QX_E_SOCKET_EMSGSIZE,
     u"EMSGSIZE The message does not fit into the buffer, or is longer than the network "
     u"allows. "},
    {QX_E_SOCKET_EPROTOTYPE, u"EPROTOTYPE The protocol does not support the type of the socket. "},
    {QX_E_SOCKET_ENOPROTOOPT,
     u"ENOPROTOOPT The option or level is unknown, invalid or not supported. "},
    {QX_E_SOCKET_EPROTONOSUPPORT, u"EPROTONOSUPPORT The protocol is not there, or not set up. "},
    {QX_E_SOCKET_ESOCKTNOSUPPORT,
     u"ESOCKTNOSUPPORT The address family does not support the type of socket. "},
    {QX_E_SOCKET_EOPNOTSUPP, u"EOPNOTSUPP The socket does not support the attempted operation. "},
    {QX_E_SOCKET_EPFNOSUPPORT, u"EPFNOSUPPORT The protocol family is not there, or not set up. "},
    {QX_E_SOCKET_EAFNOSUPPORT, u"EAFNOSUPPORT The protocol does not support the address family. "},
    {QX_E_SOCKET_EADDRINUSE, u"EADDRINUSE The address and port are in use by another socket. "},
    {QX_E_SOCKET_EADDRNOTAVAIL, u"EADDRNOTAVAIL The address is not valid in its context. "},
    {QX_E_SOCKET_ENETDOWN, u"ENETDOWN The network is down. "},
    {QX_E_SOCKET_ENETUNREACH, u"ENETUNREACH The network cannot be reached from here. "},
    {QX_E_SOCKET_ENETRESET,
     u"ENETRESET The connection was broken because keep-alive found it dead. "},
    {QX_E_SOCKET_ECONNABORTED,
     u"ECONNABORTED An established connection was aborted by this machine. "},
    {QX_E_SOCKET_ECONNRESET,
     u"ECONNRESET An existing connection was closed by the remote machine by force. "},
    {QX_E_SOCKET_ENOBUFS, u"ENOBUFS There is not enough buffer space, or a queue is full. "},
    {QX_E_SOCKET_EISCONN, u"EISCONN The socket is connected already. "},
    {QX_E_SOCKET_ENOTCONN, u"ENOTCONN The socket is not connected, and no address was supplied. "},
    {QX_E_SOCKET_ESHUTDOWN,
     u"ESHUTDOWN The socket was shut down before in the direction of the transfer. "},
    {QX_E_SOCKET_ETOOMANYREFS, u"ETOOMANYREFS Too many references to a kernel object. "},
    {QX_E_SOCKET_ETIMEDOUT,
     u"ETIMEDOUT A connection attempt failed because the connected party did not properly "
     u"respond after a period of time, or established connection failed because connected "
     u"host has failed to respond. "},
    {QX_E_SOCKET_ECONNREFUSED,
     u"ECONNREFUSED No connection could be made because the target machine actively "
     u"refused it. "},
    {QX_E_SOCKET_ELOOP, u"ELOOP The name could not be translated. "},
    {QX_E_SOCKET_ENAMETOOLONG, u"ENAMETOOLONG A name or a part of it is too long. "},
    {QX_E_SOCKET_EHOSTDOWN, u"EHOSTDOWN The destination host is down. "},
    {QX_E_SOCKET_EHOSTUNREACH, u"EHOSTUNREACH The destination host cannot be reached from here. "},
    {QX_E_SOCKET_ENOTEMPTY, u"ENOTEMPTY A folder that is not empty cannot be removed. "},
    {QX_E_SOCKET_EPROCLIM, u"EPROCLIM Too many processes use sockets at once. "},
    {QX_E_SOCKET_EUSERS, u"EUSERS The quota of users is exhausted. "},
    {QX_E_SOCKET_EDQUOT, u"EDQUOT The disk quota is exhausted. "},
    {QX_E_SOCKET_ESTALE, u"ESTALE The file is no longer available. "},
    {QX_E_SOCKET_EREMOTE, u"EREMOTE The item is not available on this machine. "},
    {QX_E_SOCKET_SYSNOTREADY, u"SYSNOTREADY The network system beneath is not ready. "},
    {QX_E_SOCKET_VERNOTSUPPORTED,
     u"VERNOTSUPPORTED The wanted version of the socket system is not supported. "},
    {QX_E_SOCKET_NOTINITIALISED,
     u"NOTINITIALISED Either the application has not called WSAStartup, or WSAStartup "
     u"failed. "},
    {QX_E_SOCKET_EDISCON, u"EDISCON The remote party has begun an orderly shutdown. "},
    {QX_E_SOCKET_ENOMORE, u"ENOMORE No more results can be returned by WSALookupServiceNext. "},
    {QX_E_SOCKET_ECANCELLED, u"ECANCELLED The look-up was cancelled while it was in progress. "},
    {QX_E_SOCKET_EINVALIDPROCTABLE,
     u"EINVALIDPROCTABLE The procedure table of the service provider is not valid. "},
    {QX_E_SOCKET_EINVALIDPROVIDER, u"EINVALIDPROVIDER The service provider is not valid. "},
    {QX_E_SOCKET_EPROVIDERFAILEDINIT,
     u"EPROVIDERFAILEDINIT The service provider could not be loaded or initialised. "},
    {QX_E_SOCKET_SYSCALLFAILURE,
     u"SYSCALLFAILURE A system call that should never fail has failed. "},
    {QX_E_SOCKET_SERVICE_NOT_FOUND,
     u"SERVICE_NOT_FOUND No such service is known in the name space. "},
    {QX_E_SOCKET_TYPE_NOT_FOUND, u"TYPE_NOT_FOUND The class of services was not found. "},
    {QX_E_SOCKET__E_NO_MORE,
     u"_E_NO_MORE No more results can be returned by WSALookupServiceNext. "},
    {QX_E_SOCKET__E_CANCELLED,
     u"_E_CANCELLED The look-up was cancelled while it was in progress. "},
    {QX_E_SOCKET_EREFUSED, u"EREFUSED The query was refused actively. "},
    {QX_E_SOCKET_HOST_NOT_FOUND, u"HOST_NOT_FOUND No such host is known. "},
    {QX_E_SOCKET_TRY_AGAIN,
     u"TRY_AGAIN The host was not found now, but may be on another attempt. "},
    {QX_E_SOCKET_NO_RECOVERY,
     u"NO_RECOVERY The look-up failed in a way that cannot be recovered from. "},
    {QX_E_SOCKET_NO_DATA, u"NO_DATA The name is valid, but there is no data of the wanted type. "},
    {QX_E_SOCKET_EAI_BADFLAGS, u"EAI_BADFLAGS Invalid value for the flags of the hints."},
    {QX_E_SOCKET_EAI_SOCKTYPE, u"EAI_SOCKTYPE The socket type of the hints is not supported."},
    {QX_E_SOCKET_EAI_FAMILY, u"EAI_FAMILY The address family of the hints is not supported."},
    {QX_E_SOCKET_EAI_SERVICE, u"EAI_SERVICE SERVICE is not supported for the socket type."},
    {QX_E_SOCKET_EAI_NONAME, u"EAI_NONAME NAME or SERVICE is unknown."},
    {QX_E_SOCKET_EAI_AGAIN, u"EAI_AGAIN Temporary failure in name resolution."},
    {QX_E_SOCKET_EAI_FAIL, u"EAI_FAIL Non-recoverable failure in name resolution."},
    {QX_E_SOCKET_EAI_NODATA, u"EAI_NODATA No address is associated with NAME."},
};
// clang-format on

constexpr bool isBefore(const CodeRow& row, int number) { return row.number() < number; }

static_assert(std::size(CodeRows) == 71);
static_assert(std::is_sorted(std::begin(CodeRows), std::end(CodeRows),
                             [](const CodeRow& a, const CodeRow& b) {
                                 return isBefore(a, b.number());
                             }));

/// The row of a number; null when it has none.
const CodeRow* findRow(int number) {
    const CodeRow* row =
        std::lower_bound(std::begin(CodeRows), std::end(CodeRows), number, isBefore);
    return row != std::end(CodeRows) && row->number() == number ? row : nullptr;
}

/// The code of a number of the system (10004 to 11004) or of the resolver (all others).
ENUM_QX_E_SOCKET codeOf(int number, bool ofSystem) {
    constexpr int firstOfSystem = 10004, lastOfSystem = 11004;
    const bool isOfSystem = number >= firstOfSystem && number <= lastOfSystem;
    const CodeRow* row = isOfSystem == ofSystem ? findRow(number) : nullptr;
    return row != nullptr ? row->code : result::Fail;
}

} // namespace

} // namespace qx::net

using namespace qx::net;

int QXLastNativeSocketError() { return QXSocketLastError(); }

ENUM_QX_E_SOCKET QX_E_SOCKETFromNativeSocketError(int native) {
    return native == 0 ? 0 : codeOf(native, true);
}

ENUM_QX_E_SOCKET QX_E_SOCKETFromNativeEaiSocketError(int native) {
    const ENUM_QX_E_SOCKET code = codeOf(native, false);
    return code != qx::result::Fail ? code : QX_E_SOCKETFromNativeSocketError(native);
}

const char16_t* QXGetDescriptionFromQX_E_SOCKET(ENUM_QX_E_SOCKET code) {
    if (code == 0)
        return u"OK";
    const CodeRow* row = findRow(code & 0xFFFF);
    return row != nullptr && row->code == code ? row->description : u"FAIL";
}
