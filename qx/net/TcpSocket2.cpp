#include "qx/net/TcpSocket2.h"

#include <atomic>
#include <charconv>
#include <cstring>
#include <iterator>
#include <memory>

#include <qx/core/runtime/GlobalLock.h>
#include <qx/net/detail/Codes.h>
#include <qx/sync/LockObject.h>

namespace qx::net {

namespace {

constexpr uint16_t WantedVersion = 0x0202;

constinit std::atomic<bool> s_initialised{false};
constinit uint16_t s_version = 0; // under the library-wide lock

/// Runs @p body under the library-wide lock.
template <class Body>
ENUM_QX_E_SOCKET underGlobalLock(Body&& body) {
    return withoutThrowing([&] {
        const auto guard = holdGlobalLock();
        return body();
    });
}

} // namespace

ENUM_QX_E_SOCKET TcpSocket2::init() {
    if (s_initialised.load(std::memory_order_acquire))
        return 0;
    return underGlobalLock([] {
        if (s_initialised.load(std::memory_order_relaxed))
            return 0;
        uint16_t highest = 0;
        if (QXSocketStartUp(WantedVersion, &highest) != 0)
            return lastCode();
        s_version = highest;
        s_initialised.store(true, std::memory_order_release);
        return 0;
    });
}

ENUM_QX_E_SOCKET TcpSocket2::uninit() {
    return underGlobalLock([] {
        if (!s_initialised.load(std::memory_order_relaxed))
            return 0;
        if (QXSocketCleanUp() != 0)
            return lastCode();
        s_initialised.store(false, std::memory_order_release);
        return 0;
    });
}

ENUM_QX_E_SOCKET TcpSocket2::getVersion(int32_t* major, int32_t* minor) {
    if (major == nullptr || minor == nullptr)
        return QX_E_SOCKET_EINVAL;
    *major = 0;
    *minor = 0;
    const ENUM_QX_E_SOCKET code = init();
    if (code != 0)
        return code;
    return underGlobalLock([&] {
        *major = s_version & 0xFF;
        *minor = s_version >> 8;
        return 0;
    });
}

ENUM_QX_E_SOCKET TcpSocket2::getAddrInfo(const char* host, uint16_t port, const qx_addrinfo* hints,
                                         uint32_t index, qx_sockaddr_union* out) {
    if (host == nullptr || port == 0 || out == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (const ENUM_QX_E_SOCKET code = init())
        return code;
    char service[6] = {};
    std::to_chars(service, std::end(service), port);
    qx_addrinfo* found = nullptr;
    if (const int32_t number = QXgetaddrinfo(host, service, hints, &found))
        return QX_E_SOCKETFromNativeEaiSocketError(number);
    const std::unique_ptr<qx_addrinfo, decltype(&QXfreeaddrinfo)> owner(found, &QXfreeaddrinfo);
    const qx_addrinfo* entry = found;
    for (; entry != nullptr && index > 0; --index)
        entry = entry->ai_next;
    if (entry == nullptr)
        return QX_E_SOCKET_EADDRNOTAVAIL;
    std::memcpy(out, entry->ai_addr, entry->ai_addrlen);
    return 0;
}

ENUM_QX_E_SOCKET TcpSocket2::destroyTcpSocket2(TcpSocket2** socket) {
    if (socket == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (*socket == nullptr)
        return 0;
    (*socket)->shutdownOutput();
    (*socket)->close();
    delete *socket;
    *socket = nullptr;
    return 0;
}

TcpSocket2::~TcpSocket2() {
    m_shutdownIn = 1;
    m_shutdownOut = 1;
    m_closed = 1;
}

int16_t TcpSocket2::getShutdownIn() const { return m_shutdownIn; }
int16_t TcpSocket2::getShutdownOut() const { return m_shutdownOut; }
int16_t TcpSocket2::getClosed() const { return m_closed; }
void TcpSocket2::setShutdownIn(int16_t value) { m_shutdownIn = value; }
void TcpSocket2::setShutdownOut(int16_t value) { m_shutdownOut = value; }
void TcpSocket2::setClosed(int16_t value) { m_closed = value; }

int32_t TcpSocket2::takeShutdown(bool input, bool output) {
    const bool inputWasShut = getShutdownIn() != 0;
    const bool outputWasShut = getShutdownOut() != 0;
    if ((!input || inputWasShut) && (!output || outputWasShut))
        return -1;
    if (input)
        setShutdownIn(1);
    if (output)
        setShutdownOut(1);
    // A direction alone completes the other to both; both together leave out what was done before.
    if (input && output)
        return inputWasShut    ? QX_SHUTDOWN_OUTPUT
               : outputWasShut ? QX_SHUTDOWN_INPUT
                               : QX_SHUTDOWN_BOTH;
    if (input)
        return outputWasShut ? QX_SHUTDOWN_BOTH : QX_SHUTDOWN_INPUT;
    return inputWasShut ? QX_SHUTDOWN_BOTH : QX_SHUTDOWN_OUTPUT;
}

} // namespace qx::net
