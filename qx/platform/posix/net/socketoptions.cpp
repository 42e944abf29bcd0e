#include "qx/platform/net.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/net/socketnumbers.h>
#include <qx/platform/posix/net/socketoptions.h>

namespace qx::platform {

constinit std::atomic<bool> g_hasTimeOuts{false};

namespace {

/// How the value of an option differs from the system's.
enum class Form { Plain, Milliseconds, Linger, BufferSize, ErrorNumber };

struct OptionRow {
    int32_t level;
    int32_t name;
    int systemLevel;
    int systemName;
    Form form = Form::Plain;
};

// clang-format off
constexpr OptionRow OptionRows[] = {
    {QX_SOL_SOCKET,   QX_SO_DEBUG,          SOL_SOCKET,   SO_DEBUG},
    {QX_SOL_SOCKET,   QX_SO_ACCEPTCONN,     SOL_SOCKET,   SO_ACCEPTCONN},
    {QX_SOL_SOCKET,   QX_SO_REUSEADDR,      SOL_SOCKET,   SO_REUSEADDR},
    {QX_SOL_SOCKET,   QX_SO_KEEPALIVE,      SOL_SOCKET,   SO_KEEPALIVE},
    {QX_SOL_SOCKET,   QX_SO_DONTROUTE,      SOL_SOCKET,   SO_DONTROUTE},
    {QX_SOL_SOCKET,   QX_SO_BROADCAST,      SOL_SOCKET,   SO_BROADCAST},
    {QX_SOL_SOCKET,   QX_SO_LINGER,         SOL_SOCKET,   SO_LINGER,    Form::Linger},
    {QX_SOL_SOCKET,   QX_SO_OOBINLINE,      SOL_SOCKET,   SO_OOBINLINE},
    {QX_SOL_SOCKET,   QX_SO_SNDBUF,         SOL_SOCKET,   SO_SNDBUF,    Form::BufferSize},
    {QX_SOL_SOCKET,   QX_SO_RCVBUF,         SOL_SOCKET,   SO_RCVBUF,    Form::BufferSize},
    {QX_SOL_SOCKET,   QX_SO_SNDLOWAT,       SOL_SOCKET,   SO_SNDLOWAT},
    {QX_SOL_SOCKET,   QX_SO_RCVLOWAT,       SOL_SOCKET,   SO_RCVLOWAT},
    {QX_SOL_SOCKET,   QX_SO_SNDTIMEO,       SOL_SOCKET,   SO_SNDTIMEO,  Form::Milliseconds},
    {QX_SOL_SOCKET,   QX_SO_RCVTIMEO,       SOL_SOCKET,   SO_RCVTIMEO,  Form::Milliseconds},
    {QX_SOL_SOCKET,   QX_SO_ERROR,          SOL_SOCKET,   SO_ERROR,     Form::ErrorNumber},
    {QX_SOL_SOCKET,   QX_SO_TYPE,           SOL_SOCKET,   SO_TYPE},
    {QX_IPPROTO_TCP,  QX_TCP_NODELAY,       IPPROTO_TCP,  TCP_NODELAY},
    {QX_IPPROTO_TCP,  QX_TCP_KEEPIDLE,      IPPROTO_TCP,  TCP_KEEPIDLE},
    {QX_IPPROTO_TCP,  QX_TCP_MAXSEG,        IPPROTO_TCP,  TCP_MAXSEG},
    {QX_IPPROTO_TCP,  QX_TCP_KEEPCNT,       IPPROTO_TCP,  TCP_KEEPCNT},
    {QX_IPPROTO_TCP,  QX_TCP_KEEPINTVL,     IPPROTO_TCP,  TCP_KEEPINTVL},
    {QX_IPPROTO_IP,   QX_IP_TOS,            IPPROTO_IP,   IP_TOS},
    {QX_IPPROTO_IP,   QX_IP_TTL,            IPPROTO_IP,   IP_TTL},
    {QX_IPPROTO_IPV6, QX_IPV6_UNICAST_HOPS, IPPROTO_IPV6, IPV6_UNICAST_HOPS},
    {QX_IPPROTO_IPV6, QX_IPV6_V6ONLY,       IPPROTO_IPV6, IPV6_V6ONLY},
};
// clang-format on

/// The row of an option; null with errno set when there is none.
const OptionRow* findOption(int32_t level, int32_t name) noexcept {
    bool levelKnown = false;
    for (const OptionRow& row : OptionRows) {
        levelKnown = levelKnown || row.level == level;
        if (row.level == level && row.name == name)
            return &row;
    }
    errno = levelKnown ? ENOPROTOOPT : EINVAL;
    return nullptr;
}

/// The value of an option in either form; all of them are four bytes long outside.
using Value = int32_t;
static_assert(sizeof(qx_linger) == sizeof(Value));

template <class T>
int readSystem(int descriptor, const OptionRow& row, T& value) noexcept {
    socklen_t length = sizeof value;
    return ::getsockopt(descriptor, row.systemLevel, row.systemName, &value, &length);
}

template <class T>
int writeSystem(int descriptor, const OptionRow& row, const T& value) noexcept {
    return ::setsockopt(descriptor, row.systemLevel, row.systemName, &value, sizeof value);
}

int readOption(int descriptor, const OptionRow& row, Value& value) noexcept {
    if (row.form == Form::Milliseconds) {
        timeval limit{};
        const int result = readSystem(descriptor, row, limit);
        const int64_t milliseconds = int64_t{limit.tv_sec} * 1000 + limit.tv_usec / 1000;
        value = static_cast<Value>(milliseconds < UINT32_MAX ? milliseconds : UINT32_MAX);
        return result;
    }
    if (row.form == Form::Linger) {
        linger system{};
        const int result = readSystem(descriptor, row, system);
        const qx_linger described{static_cast<uint16_t>(system.l_onoff),
                                  static_cast<uint16_t>(system.l_linger)};
        std::memcpy(&value, &described, sizeof value);
        return result;
    }
    const int result = readSystem(descriptor, row, value);
    if (row.form == Form::BufferSize)
        value /= 2; // the system counts its own needs, as much again
    if (row.form == Form::ErrorNumber)
        value = socketErrorNumber(value);
    return result;
}

int writeOption(int descriptor, const OptionRow& row, Value value) noexcept {
    if (row.form == Form::Milliseconds) {
        const auto milliseconds = static_cast<uint32_t>(value);
        if (milliseconds != 0)
            g_hasTimeOuts.store(true, std::memory_order_relaxed);
        return writeSystem(descriptor, row,
                           timeval{milliseconds / 1000, milliseconds % 1000 * 1000});
    }
    if (row.form == Form::Linger) {
        qx_linger described;
        std::memcpy(&described, &value, sizeof value);
        return writeSystem(descriptor, row, linger{described.onOff, described.seconds});
    }
    return writeSystem(descriptor, row, value);
}

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXSocketGetOption(QXSocket socket, int32_t level, int32_t name, void* value,
                          int32_t* length) {
    const OptionRow* row = findOption(level, name);
    if (row == nullptr)
        return socketFailed();
    if (value == nullptr || length == nullptr || *length < static_cast<int32_t>(sizeof(Value)))
        return socketFailed(EFAULT);
    Value read = 0;
    if (readOption(descriptorOf(socket), *row, read) != 0)
        return socketFailed();
    std::memcpy(value, &read, sizeof read);
    *length = sizeof read;
    return 0;
}

int32_t QXSocketSetOption(QXSocket socket, int32_t level, int32_t name, const void* value,
                          int32_t length) {
    const OptionRow* row = findOption(level, name);
    if (row == nullptr)
        return socketFailed();
    if (value == nullptr || length < static_cast<int32_t>(sizeof(Value)))
        return socketFailed(EFAULT);
    Value wanted = 0;
    std::memcpy(&wanted, value, sizeof wanted);
    return writeOption(descriptorOf(socket), *row, wanted) == 0 ? 0 : socketFailed();
}
