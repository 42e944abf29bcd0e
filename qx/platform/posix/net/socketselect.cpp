#include "qx/platform/net.h"

#include <cerrno>
#include <climits>
#include <iterator>
#include <linux/tcp.h>
#include <memory>
#include <netinet/in.h>
#include <new>
#include <sys/socket.h>

#include <qx/platform/posix/WaitEnd.h>
#include <qx/platform/posix/net/socketnumbers.h>

namespace qx::platform {

namespace {

// What poll always tells counts for reading and writing: the next call does not block.
constexpr short ReadEvents = POLLIN | POLLHUP | POLLERR;
constexpr short WriteEvents = POLLOUT | POLLHUP | POLLERR;

/// True when a socket in an error state never was connected. A connection once established has
/// acknowledged, received or measured something, if only its opening.
bool hasFailedToConnect(int descriptor) noexcept {
    tcp_info info{};
    socklen_t length = sizeof info;
    constexpr uint8_t closed = 7;
    return ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
           info.tcpi_state == closed && info.tcpi_bytes_acked == 0 &&
           info.tcpi_bytes_received == 0 && info.tcpi_min_rtt == UINT32_MAX;
}

bool isExceptional(const pollfd& entry) noexcept {
    return (entry.revents & POLLPRI) != 0 ||
           ((entry.revents & POLLERR) != 0 && hasFailedToConnect(entry.fd));
}

/// A limit of the interface; false for a negative one.
bool readLimit(const qx_timeval* limit, TimeLimit& time) noexcept {
    if (limit == nullptr)
        return true;
    if (limit->seconds < 0 || limit->microseconds < 0)
        return false;
    time = std::chrono::seconds(limit->seconds) + std::chrono::microseconds(limit->microseconds);
    return true;
}

/// The three sets as one list for poll, in their order.
class PollList {
public:
    /// False when a set is too full or a number cannot be a descriptor.
    bool add(const qx_socket_set* set, short events) noexcept {
        if (set == nullptr)
            return true;
        if (set->count > QX_SOCKET_SET_SIZE)
            return false;
        for (uint32_t i = 0; i < set->count; ++i) {
            if (set->sockets[i] > INT_MAX)
                return false;
            m_entries[m_count++] = {static_cast<int>(set->sockets[i]), events, 0};
        }
        return true;
    }

    bool isEmpty() const noexcept { return m_count == 0; }

    /// Waits until an entry is ready in the sense of its set: 1, or 0 after the end and -1 on
    /// failure. An entry that poll reports for another reason, as it would again and again, is left
    /// out from then on.
    int await(const WaitEnd& end) noexcept {
        for (;;) {
            const int reported = end.poll(m_entries, m_count);
            if (reported <= 0)
                return reported;
            bool anyReady = false;
            for (nfds_t i = 0; i < m_count; ++i) {
                pollfd& entry = m_entries[i];
                if (entry.revents & POLLNVAL) {
                    errno = EBADF;
                    return -1;
                }
                if (entry.events == POLLPRI && entry.revents != 0 && !isExceptional(entry)) {
                    entry.fd = -1;
                    entry.revents = 0;
                }
                anyReady = anyReady || entry.revents != 0;
            }
            if (anyReady)
                return 1;
        }
    }

    /// Keeps the ready ones of the next set, in the order of the calls of add; their number.
    uint32_t keepReady(qx_socket_set* set) noexcept {
        if (set == nullptr)
            return 0;
        uint32_t kept = 0;
        for (uint32_t i = 0; i < set->count; ++i) {
            if (m_entries[m_next++].revents != 0)
                set->sockets[kept++] = set->sockets[i];
        }
        return set->count = kept;
    }

private:
    pollfd m_entries[3 * QX_SOCKET_SET_SIZE];
    nfds_t m_count = 0;
    nfds_t m_next = 0;
};

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXSocketSelect(qx_socket_set* read, qx_socket_set* write, qx_socket_set* exception,
                       const qx_timeval* limit) {
    TimeLimit time;
    if (!readLimit(limit, time))
        return socketFailed(EINVAL);
    PollList list;
    if (!list.add(read, ReadEvents) || !list.add(write, WriteEvents) ||
        !list.add(exception, POLLPRI))
        return socketFailed(ENOTSOCK);
    if (list.isEmpty())
        return socketFailed(EINVAL);
    if (list.await(WaitEnd(time)) == -1)
        return socketFailed();
    return static_cast<int32_t>(list.keepReady(read) + list.keepReady(write) +
                                list.keepReady(exception));
}

int32_t QXSocketPoll(qx_socket_poll* sockets, uint32_t count, const qx_timeval* limit) {
    TimeLimit time;
    if (count == 0 || !readLimit(limit, time))
        return socketFailed(EINVAL);
    pollfd few[8];
    std::unique_ptr<pollfd[]> many;
    if (count > std::size(few)) {
        many.reset(new (std::nothrow) pollfd[count]);
        if (!many)
            return socketFailed(ENOMEM);
    }
    pollfd* const entries = many ? many.get() : few;
    for (uint32_t i = 0; i < count; ++i) {
        if (sockets[i].socket > INT_MAX)
            return socketFailed(ENOTSOCK);
        const bool reads = (sockets[i].wanted & QX_POLL_READ) != 0;
        const bool writes = (sockets[i].wanted & QX_POLL_WRITE) != 0;
        entries[i] = {static_cast<int>(sockets[i].socket),
                      static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0)), 0};
    }
    if (WaitEnd(time).poll(entries, count) == -1)
        return socketFailed();
    int32_t ready = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if ((entries[i].revents & POLLNVAL) != 0)
            return socketFailed(EBADF);
        const bool reads = (entries[i].revents & ReadEvents) != 0;
        const bool writes = (entries[i].revents & WriteEvents) != 0;
        sockets[i].ready =
            sockets[i].wanted & ((reads ? QX_POLL_READ : 0U) | (writes ? QX_POLL_WRITE : 0U));
        ready += sockets[i].ready != 0 ? 1 : 0;
    }
    return ready;
}
