#include "qx/platform/net.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <linux/tcp.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/WaitEnd.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/net/socketaddress.h>
#include <qx/platform/posix/net/socketnumbers.h>
#include <qx/platform/posix/net/socketoptions.h>

namespace qx::platform {

namespace {

constexpr uint16_t HighestVersion = 0x0202;
constexpr int32_t VersionNotSupported = 10092;
constexpr int32_t NotInitialised = 10093;

constinit std::atomic<int> s_users{0};

constexpr NumberPair MessageFlags[] = {
    {QX_MSG_OOB, MSG_OOB},
    {QX_MSG_PEEK, MSG_PEEK},
    {QX_MSG_DONTROUTE, MSG_DONTROUTE},
    {QX_MSG_WAITALL, MSG_WAITALL},
};

bool isNonBlocking(int descriptor) noexcept {
    const int flags = ::fcntl(descriptor, F_GETFL);
    return flags != -1 && (flags & O_NONBLOCK) != 0;
}

void setOption(int descriptor, int level, int name, int value) noexcept {
    ::setsockopt(descriptor, level, name, &value, sizeof value);
}

int option(int descriptor, int level, int name) noexcept {
    int value = 0;
    socklen_t length = sizeof value;
    return ::getsockopt(descriptor, level, name, &value, &length) == 0 ? value : 0;
}

/// Lets the port be bound again while connections of this socket linger. The system would also let
/// a second socket in before this one listens or is closed, hence not earlier.
void allowLingering(int descriptor) noexcept { setOption(descriptor, SOL_SOCKET, SO_REUSEADDR, 1); }

/// Binds past lingering connections. The switch is off while the port is bound only.
int bindPastLingering(int descriptor, const SystemAddress& address) noexcept {
    allowLingering(descriptor);
    const int bound = ::bind(descriptor, address.get(), address.length);
    const int error = errno;
    setOption(descriptor, SOL_SOCKET, SO_REUSEADDR, 0);
    errno = error;
    return bound;
}

/// Sees a connection through that is under way, or was cut short by a signal or the socket's send
/// time-out.
int32_t finishConnecting(int descriptor, const WaitEnd& end) noexcept {
    pollfd entry{descriptor, POLLOUT, 0};
    const int ready = end.poll(&entry, 1);
    if (ready == -1)
        return socketFailed();
    const int error = ready == 0 ? ETIMEDOUT : option(descriptor, SOL_SOCKET, SO_ERROR);
    return error == 0 ? 0 : socketFailed(error);
}

int32_t connectUntil(int descriptor, const SystemAddress& peer, const WaitEnd& end) noexcept {
    if (::connect(descriptor, peer.get(), peer.length) == 0)
        return 0;
    return errno == EINPROGRESS || errno == EINTR ? finishConnecting(descriptor, end)
                                                  : socketFailed();
}

/// Stores what getsockname or getpeername tells.
int32_t giveName(QXSocket socket, int (*ask)(int, sockaddr*, socklen_t*) noexcept,
                 qx_sockaddr_union* address, int32_t* length) noexcept {
    if (address == nullptr || length == nullptr)
        return socketFailed(EFAULT);
    SystemAddress name;
    if (ask(descriptorOf(socket), name.get(), &name.length) != 0)
        return socketFailed();
    if (*length < static_cast<int32_t>(addressLength(name.storage.ss_family)))
        return socketFailed(EFAULT);
    *length = fromSystem(name, address, *length);
    return 0;
}

/// The limit of a SO_RCVTIMEO or SO_SNDTIMEO.
TimeLimit timeOut(int descriptor, int name) noexcept {
    timeval limit{};
    socklen_t length = sizeof limit;
    if (::getsockopt(descriptor, SOL_SOCKET, name, &limit, &length) != 0 ||
        (limit.tv_sec == 0 && limit.tv_usec == 0))
        return std::nullopt;
    return std::chrono::seconds(limit.tv_sec) + std::chrono::microseconds(limit.tv_usec);
}

/// One direction of transfers.
struct Way {
    int timeOutName;
    short events;
};

constexpr Way Outward{SO_SNDTIMEO, POLLOUT}, Inward{SO_RCVTIMEO, POLLIN};

/// Transfers all of the bytes when @p isWhole and the socket is a stream that blocks, else those of
/// one call; how many, or -1 with errno. What a signal has cut short goes on. The system would
/// begin the socket's time-out anew then, which signals could keep up for ever.
/// @param transfer  called with how many bytes have been transferred before, and flags
template <class Transfer>
ssize_t continued(int descriptor, const Way& way, int32_t length, bool isWhole,
                  Transfer&& transfer) noexcept {
    using Clock = std::chrono::steady_clock;
    const bool isTimed = g_hasTimeOuts.load(std::memory_order_relaxed);
    const Clock::time_point begin = isTimed ? Clock::now() : Clock::time_point();
    const ssize_t first = transfer(0, 0);
    if (first == -1 ? errno != EINTR
                    : first == length || first == 0 || !isWhole || isNonBlocking(descriptor) ||
                          option(descriptor, SOL_SOCKET, SO_TYPE) != SOCK_STREAM)
        return first;
    TimeLimit limit = timeOut(descriptor, way.timeOutName);
    if (limit && isTimed)
        *limit -= Clock::now() - begin;
    const WaitEnd end(limit);
    ssize_t done = std::max<ssize_t>(first, 0);
    const auto failed = [&done] { return done > 0 ? done : -1; };
    for (;;) {
        pollfd entry{descriptor, way.events, 0};
        const int ready = end.poll(&entry, 1);
        if (ready == 0)
            errno = EAGAIN;
        // The socket tells an error once only: to the next call, when this one has bytes to tell.
        if (ready < 1 || (done > 0 && (entry.revents & POLLERR) != 0))
            return failed();
        const ssize_t count = transfer(done, limit ? MSG_DONTWAIT : 0);
        if (count == -1 && errno != EINTR && !(limit && errno == EAGAIN))
            return failed();
        done += std::max<ssize_t>(count, 0);
        if (count == 0 || done == length || (count > 0 && !isWhole))
            return done;
    }
}

/// Reports a failed transfer: what the system calls "would block" is a time-out on a socket that
/// blocks.
int32_t transferFailed(int descriptor) noexcept {
    if (errno == EAGAIN && !isNonBlocking(descriptor))
        return socketFailed(ETIMEDOUT);
    return socketFailed();
}

/// States of a connection, as the system numbers them.
enum TcpState { FinWait1 = 4, FinWait2 = 5, Closed = 7, LastAck = 9, Closing = 11 };

/// False for what is no TCP socket.
bool tellConnection(int descriptor, tcp_info& info) noexcept {
    socklen_t length = sizeof info;
    return ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) == 0;
}

/// Why nothing can be sent, for which the system has one error only: the program itself has shut
/// the output down, as far as the connection still knows, or there never was a connection.
int brokenPipeError(int descriptor) noexcept {
    tcp_info info{};
    if (!tellConnection(descriptor, info))
        return EPIPE;
    if (info.tcpi_state == FinWait1 || info.tcpi_state == FinWait2 || info.tcpi_state == LastAck ||
        info.tcpi_state == Closing)
        return ESHUTDOWN;
    // The space is given when a connection is made, and kept after its end.
    return info.tcpi_rcv_space == 0 ? ENOTCONN : EPIPE;
}

int32_t sendFailed(int descriptor) noexcept {
    return errno == EPIPE ? socketFailed(brokenPipeError(descriptor)) : transferFailed(descriptor);
}

/// True when a connection of which nothing more can be received has ended without the peer's end.
/// The system tells the error once, which another thread may have met as it sent. Later it knows
/// still whether the end has come: it counts as one byte that waits.
bool isCutOff(int descriptor) noexcept {
    tcp_info info{};
    if (!tellConnection(descriptor, info) || info.tcpi_state != Closed)
        return false;
    setOption(descriptor, IPPROTO_TCP, TCP_INQ, 1);
    char byte;
    iovec room{&byte, sizeof byte};
    alignas(cmsghdr) char told[CMSG_SPACE(sizeof(int))];
    msghdr message{};
    message.msg_iov = &room;
    message.msg_iovlen = 1;
    message.msg_control = told;
    message.msg_controllen = sizeof told;
    if (::recvmsg(descriptor, &message, MSG_PEEK | MSG_DONTWAIT) != 0)
        return false;
    int waiting = 1;
    const cmsghdr* const first = CMSG_FIRSTHDR(&message);
    if (first != nullptr && first->cmsg_level == IPPROTO_TCP && first->cmsg_type == TCP_CM_INQ)
        std::memcpy(&waiting, CMSG_DATA(first), sizeof waiting);
    return waiting == 0;
}

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXSocketStartUp(uint16_t version, uint16_t* highest) {
    if (highest != nullptr)
        *highest = HighestVersion;
    if ((version & 0xFF) == 0)
        return socketFailedWith(VersionNotSupported);
    ++s_users;
    return 0;
}

int32_t QXSocketCleanUp() {
    int users = s_users;
    do {
        if (users < 1)
            return socketFailedWith(NotInitialised);
    } while (!s_users.compare_exchange_weak(users, users - 1));
    return 0;
}

int32_t QXSocketCreate(int32_t family, int32_t type, int32_t protocol, QXSocket* socket) {
    *socket = QX_NO_SOCKET;
    const int domain = systemFamily(family);
    if (domain <= AF_UNSPEC)
        return socketFailed(EAFNOSUPPORT);
    // Higher bits of the type are flags of the system's own.
    if (type < SOCK_STREAM || type > SOCK_SEQPACKET)
        return socketFailed(ESOCKTNOSUPPORT);
    Descriptor made = aboveStandard(Descriptor(::socket(domain, type | SOCK_CLOEXEC, protocol)));
    if (!made)
        return socketFailed();
    if (domain == AF_INET6)
        setOption(made.get(), IPPROTO_IPV6, IPV6_V6ONLY, 1);
    *socket = made.release();
    return 0;
}

int32_t QXSocketClose(QXSocket socket) {
    allowLingering(descriptorOf(socket)); // nobody sees the option any more
    // The descriptor is gone also when a signal interrupts the call.
    return ::close(descriptorOf(socket)) == 0 || errno == EINTR ? 0 : socketFailed();
}

int32_t QXSocketBind(QXSocket socket, const qx_sockaddr_union* address, int32_t length) {
    const int descriptor = descriptorOf(socket);
    SystemAddress place;
    if (const int error = toSystem(address, length, place))
        return socketFailed(error);
    if (::bind(descriptor, place.get(), place.length) == 0)
        return 0;
    if (errno == EADDRINUSE && option(descriptor, SOL_SOCKET, SO_TYPE) == SOCK_STREAM &&
        option(descriptor, SOL_SOCKET, SO_REUSEADDR) == 0 &&
        bindPastLingering(descriptor, place) == 0)
        return 0;
    return socketFailed();
}

int32_t QXSocketListen(QXSocket socket, int32_t backlog) {
    const int descriptor = descriptorOf(socket);
    allowLingering(descriptor);
    return ::listen(descriptor, backlog) == 0 ? 0 : socketFailed();
}

void QXSocketEndListening(QXSocket socket, uint32_t forkEpoch) {
    if (forkEpoch == qx::platform::forkEpoch())
        ::shutdown(descriptorOf(socket), SHUT_RD);
}

int32_t QXSocketConnect(QXSocket socket, const qx_sockaddr_union* address, int32_t length) {
    const int descriptor = descriptorOf(socket);
    SystemAddress peer;
    if (const int error = toSystem(address, length, peer))
        return socketFailed(error);
    if (::connect(descriptor, peer.get(), peer.length) == 0)
        return 0;
    const WaitEnd never(std::nullopt);
    if (errno == EINTR)
        return finishConnecting(descriptor, never);
    if (errno == EINPROGRESS)
        return isNonBlocking(descriptor) ? socketFailed(EAGAIN)
                                         : finishConnecting(descriptor, never);
    return socketFailed();
}

int32_t QXSocketTimedConnect(QXSocket socket, const qx_sockaddr_union* address, int32_t length,
                             uint32_t milliseconds) {
    const int descriptor = descriptorOf(socket);
    SystemAddress peer;
    if (const int error = toSystem(address, length, peer))
        return socketFailed(error);
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags == -1 || ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == -1)
        return socketFailed();
    TimeLimit limit;
    if (milliseconds != QX_SOCKET_NO_LIMIT)
        limit = std::chrono::milliseconds(milliseconds);
    const int32_t result = connectUntil(descriptor, peer, WaitEnd(limit));
    ::fcntl(descriptor, F_SETFL, flags);
    return result;
}

int32_t QXSocketAccept(QXSocket socket, qx_sockaddr_union* peer, int32_t* length,
                       QXSocket* accepted) {
    *accepted = QX_NO_SOCKET;
    if ((peer == nullptr) != (length == nullptr) || (length != nullptr && *length < 0))
        return socketFailed(EFAULT);
    const int listener = descriptorOf(socket);
    for (;;) {
        SystemAddress address;
        Descriptor made = aboveStandard(Descriptor(retryInterrupted([&] {
            address.length = sizeof address.storage;
            return ::accept4(listener, address.get(), &address.length, SOCK_CLOEXEC);
        })));
        if (made) {
            if (peer != nullptr)
                *length = fromSystem(address, peer, *length);
            *accepted = made.release();
            return 0;
        }
        // A receive time-out of the listener is none of this call.
        if (errno != EAGAIN || isNonBlocking(listener))
            return socketFailed();
    }
}

int32_t QXSocketGetName(QXSocket socket, qx_sockaddr_union* address, int32_t* length) {
    return giveName(socket, &::getsockname, address, length);
}

int32_t QXSocketGetPeerName(QXSocket socket, qx_sockaddr_union* address, int32_t* length) {
    return giveName(socket, &::getpeername, address, length);
}

int32_t QXSocketSend(QXSocket socket, const void* buffer, int32_t length, int32_t flags) {
    const int descriptor = descriptorOf(socket);
    const int systemFlags = qx::platform::systemFlags(MessageFlags, flags);
    if (systemFlags == -1)
        return socketFailed(EOPNOTSUPP);
    if (length < 0)
        return socketFailed(EINVAL);
    const auto* const bytes = static_cast<const char*>(buffer);
    const ssize_t count =
        continued(descriptor, Outward, length, true, [&](ssize_t sent, int moreFlags) {
            return ::send(descriptor, bytes + sent, static_cast<size_t>(length - sent),
                          systemFlags | moreFlags | MSG_NOSIGNAL);
        });
    return count == -1 ? sendFailed(descriptor) : static_cast<int32_t>(count);
}

int32_t QXSocketReceive(QXSocket socket, void* buffer, int32_t length, int32_t flags) {
    const int descriptor = descriptorOf(socket);
    const int systemFlags = qx::platform::systemFlags(MessageFlags, flags);
    if (systemFlags == -1)
        return socketFailed(EOPNOTSUPP);
    if (length < 0)
        return socketFailed(EINVAL);
    auto* const bytes = static_cast<char*>(buffer);
    const bool isWhole = (flags & (QX_MSG_WAITALL | QX_MSG_PEEK | QX_MSG_OOB)) == QX_MSG_WAITALL;
    const ssize_t count =
        continued(descriptor, Inward, length, isWhole, [&](ssize_t received, int moreFlags) {
            return ::recv(descriptor, bytes + received, static_cast<size_t>(length - received),
                          systemFlags | moreFlags);
        });
    if (count == 0 && length > 0 && isCutOff(descriptor))
        return socketFailed(ECONNRESET);
    return count == -1 ? transferFailed(descriptor) : static_cast<int32_t>(count);
}

int32_t QXSocketGetAvailable(QXSocket socket, uint32_t* count) {
    if (count == nullptr)
        return socketFailed(EFAULT);
    int bytes = 0;
    *count = 0;
    if (::ioctl(descriptorOf(socket), FIONREAD, &bytes) != 0)
        return socketFailed();
    *count = static_cast<uint32_t>(bytes);
    return 0;
}

int32_t QXSocketSetNonBlocking(QXSocket socket, int32_t nonBlocking) {
    const int descriptor = descriptorOf(socket);
    const int flags = ::fcntl(descriptor, F_GETFL);
    const int wanted = nonBlocking != 0 ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    return flags != -1 && ::fcntl(descriptor, F_SETFL, wanted) == 0 ? 0 : socketFailed();
}

int32_t QXSocketGetNonBlocking(QXSocket socket, int32_t* nonBlocking) {
    if (nonBlocking == nullptr)
        return socketFailed(EFAULT);
    const int flags = ::fcntl(descriptorOf(socket), F_GETFL);
    *nonBlocking = flags != -1 && (flags & O_NONBLOCK) != 0 ? 1 : 0;
    return flags != -1 ? 0 : socketFailed();
}

int32_t QXSocketCreateSignal(QXSocket* signal) {
    *signal = QX_NO_SOCKET;
    Descriptor made = aboveStandard(Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
    if (!made)
        return socketFailed();
    *signal = made.release();
    return 0;
}

int32_t QXSocketSignal(QXSocket signal) {
    return ::eventfd_write(descriptorOf(signal), 1) == 0 ? 0 : socketFailed();
}

int32_t QXSocketSetInherited(QXSocket socket, int32_t inherited) {
    const int flags = inherited != 0 ? 0 : FD_CLOEXEC;
    return ::fcntl(descriptorOf(socket), F_SETFD, flags) == 0 ? 0 : socketFailed();
}

int32_t QXSocketShutdown(QXSocket socket, int32_t direction) {
    static_assert(QX_SHUTDOWN_INPUT == SHUT_RD && QX_SHUTDOWN_OUTPUT == SHUT_WR &&
                  QX_SHUTDOWN_BOTH == SHUT_RDWR);
    const int descriptor = descriptorOf(socket);
    // The system would end the listening.
    if (option(descriptor, SOL_SOCKET, SO_ACCEPTCONN) != 0)
        return socketFailed(ENOTCONN);
    return ::shutdown(descriptor, direction) == 0 ? 0 : socketFailed();
}
