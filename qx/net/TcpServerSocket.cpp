#include "qx/net/TcpServerSocket.h"

#include <algorithm>

#include <qx/core/Exception.h>
#include <qx/io/IoException.h>
#include <qx/net/TcpSocket2.h>
#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Codes.h>
#include <qx/net/detail/Descriptions.h>
#include <qx/net/detail/HostConnection.h>
#include <qx/net/detail/StopSignal.h>
#include <qx/platform/native.h>
#include <qx/platform/process.h>

namespace qx::net {

namespace {

String withErrorText() {
    char text[256];
    QXNativeErrorText(text, sizeof text);
    return u"TcpServerSocket: " + String(text);
}

[[noreturn]] void throwAcceptFailure() {
    throw Exception(u"TcpServerSocket::accept WSERROR " + String::valueOf(QXSocketLastError()));
}

} // namespace

TcpServerSocket::TcpServerSocket(unsigned short port, int backlog)
    : m_forkEpoch(QXProcessGetForkEpoch()) {
    if (const ENUM_QX_E_SOCKET code = TcpSocket2::init())
        throwDescribed(u"TcpServerSocket: Winsock failed to load ", code);
    if (QXSocketCreate(QX_AF_INET, QX_SOCK_STREAM, 0, m_socket.put()) != 0)
        throw io::IoException(withErrorText());
    qx_sockaddr_union any{};
    any.ipv4 = {QX_AF_INET, swapPortOrder(port), {}, {}};
    if (QXSocketBind(m_socket.get(), &any, sizeof any.ipv4) != 0)
        throw withDetail(Exception(withErrorText()), portText(port));
    int32_t length = sizeof any;
    if (QXSocketListen(m_socket.get(), backlog) != 0 ||
        QXSocketSetNonBlocking(m_socket.get(), 1) != 0 ||
        QXSocketGetName(m_socket.get(), &any, &length) != 0)
        throw withDetail(Exception(withErrorText()), portText(port));
    m_port = swapPortOrder(any.ipv4.port);
    m_stop = StopSignal::create();
    if (!m_stop)
        throw io::IoException(withErrorText());
}

TcpServerSocket::~TcpServerSocket() { QXSocketEndListening(m_socket.get(), m_forkEpoch); }

Reference<TcpSocket> TcpServerSocket::accept() { return acceptIn(NoLimit); }

Reference<TcpSocket> TcpServerSocket::acceptIn(uint64_t milliseconds) {
    const sync::TimeBudget budget(milliseconds);
    while (!m_stop->isGiven()) {
        PlatformHandle<&QXSocketClose> accepted;
        qx_sockaddr_union peer{};
        int32_t length = sizeof peer;
        if (QXSocketAccept(m_socket.get(), &peer, &length, accepted.put()) == 0) {
            Reference<TcpSocket> socket(new TcpSocket(accepted.get(), peer));
            static_cast<void>(accepted.detach());
            return socket;
        }
        if (lastCode() != QX_E_SOCKET_EWOULDBLOCK)
            throwAcceptFailure();
        qx_socket_set readable{2, {m_socket.get(), m_stop->getSocket()}};
        const uint64_t left = std::min<uint64_t>(budget.milliseconds(), INT32_MAX);
        const qx_timeval limit{static_cast<int32_t>(left / 1000),
                               static_cast<int32_t>(left % 1000 * 1000)};
        const int32_t ready =
            QXSocketSelect(&readable, nullptr, nullptr, milliseconds == NoLimit ? nullptr : &limit);
        if (ready == QX_SOCKET_ERROR)
            throwAcceptFailure();
        if (ready == 0 && budget.milliseconds() == 0)
            return nullptr;
    }
    return nullptr;
}

unsigned short TcpServerSocket::getPort() const { return m_port; }

void TcpServerSocket::stop() noexcept { m_stop->give(); }

bool TcpServerSocket::isStopped() const noexcept { return m_stop->isGiven(); }

} // namespace qx::net
