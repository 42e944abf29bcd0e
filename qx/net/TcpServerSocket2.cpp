#include "qx/net/TcpServerSocket2.h"

#include <chrono>
#include <climits>
#include <new>
#include <optional>
#include <utility>

#include <qx/net/detail/Codes.h>
#include <qx/net/detail/SocketSet.h>
#include <qx/platform/process.h>

namespace qx::net {

namespace {

/// The number of an option; 0 with the code when it cannot be had.
int32_t optionOf(uint64_t socket, int32_t name, ENUM_QX_E_SOCKET& code) {
    int32_t value = 0;
    int32_t length = sizeof value;
    code = codeOfCall(QXSocketGetOption(socket, QX_SOL_SOCKET, name, &value, &length));
    return code == 0 ? value : 0;
}

/// Failures of closing and shutting down that only say that there is no connection.
bool isNoConnection(ENUM_QX_E_SOCKET code) {
    return code == QX_E_SOCKET_ENOTCONN || code == QX_E_SOCKET_ECONNRESET;
}

} // namespace

ENUM_QX_E_SOCKET TcpServerSocket2::createTcpServerSocket2(int family, int type, int protocol,
                                                          TcpServerSocket2** out) {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = nullptr;
    if (const ENUM_QX_E_SOCKET code = init())
        return code;
    *out = new (std::nothrow) TcpServerSocket2(family, type, protocol);
    return *out != nullptr ? 0 : QX_E_SOCKET_EFAULT;
}

TcpServerSocket2::TcpServerSocket2(int family, int type, int protocol)
    : m_family(family), m_type(type), m_protocol(protocol) {}

TcpServerSocket2::~TcpServerSocket2() {
    if (!getClosed() && !getShutdownOut())
        TcpServerSocket2::shutdownOutput();
    TcpServerSocket2::close();
}

void TcpServerSocket2::socketListClear() {
    while (m_socketCount > 0)
        static_cast<void>(m_sockets[--m_socketCount].detach());
}

ENUM_QX_E_SOCKET TcpServerSocket2::bind() {
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    ENUM_QX_E_SOCKET remembered = 0;
    bool goesOn = true;
    for (uint32_t i = 0; i < m_bindList.count && goesOn; ++i) {
        bool isFatal = false;
        const ENUM_QX_E_SOCKET code = bindOne(*m_bindList.entries[i], goesOn, isFatal);
        if (isFatal)
            return code;
        if (code != 0)
            remembered = code;
    }
    return m_socketCount > 0 ? 0 : remembered;
}

/// Makes a listening socket of one address. A failure either concerns that address alone, ends the
/// work (@p goesOn), or is also the result of all of it (@p isFatal).
ENUM_QX_E_SOCKET TcpServerSocket2::bindOne(const InetSocketAddress& address, bool& goesOn,
                                           bool& isFatal) {
    isFatal = true;
    if (address.getAddress() == nullptr)
        return QX_E_SOCKET_EFAULT;
    qx_sockaddr_union place{};
    size_t length = sizeof place;
    if (const ENUM_QX_E_SOCKET code = address.getAddress()->getStorageBinary(&place, &length))
        return code;
    isFatal = false;
    const uint32_t forkEpoch = QXProcessGetForkEpoch();
    PlatformHandle<&QXSocketClose> made;
    if (QXSocketCreate(place.family, m_type, m_protocol, made.put()) != 0) {
        const ENUM_QX_E_SOCKET code = lastCode();
        goesOn = code == QX_E_SOCKET_EAFNOSUPPORT; // the machine lacks the family
        return code;
    }
    ENUM_QX_E_SOCKET code =
        codeOfCall(QXSocketBind(made.get(), &place, static_cast<int32_t>(length)));
    if (code == 0 && m_socketCount < MaxAddresses) {
        add(std::move(made), forkEpoch);
        return 0;
    }
    if (code == 0)
        code = QX_E_SOCKET_EMFILE;
    if (made.reset() != 0) {
        isFatal = true;
        code = lastCode();
    }
    return code;
}

void TcpServerSocket2::add(PlatformHandle<&QXSocketClose> socket, uint32_t forkEpoch) {
    m_forkEpochs[m_socketCount] = forkEpoch;
    m_sockets[m_socketCount++] = std::move(socket);
}

ENUM_QX_E_SOCKET TcpServerSocket2::listen(int backlog) {
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    ENUM_QX_E_SOCKET last = 0;
    for (uint32_t i = 0; i < m_socketCount; ++i) {
        if (QXSocketListen(m_sockets[i].get(), backlog < 1 ? INT_MAX : backlog) != 0)
            last = lastCode();
    }
    return last;
}

ENUM_QX_E_SOCKET TcpServerSocket2::addListening(uint64_t nativeSocket) {
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    ENUM_QX_E_SOCKET code = 0;
    const bool isListening = optionOf(nativeSocket, QX_SO_ACCEPTCONN, code) != 0;
    if (code != 0)
        return code;
    qx_sockaddr_union address{};
    int32_t length = sizeof address;
    if (QXSocketGetName(nativeSocket, &address, &length) != 0)
        return lastCode();
    // Sockets of other families listen too, those of the file system among them.
    const bool isTcp = address.family != QX_AF_UNSPEC &&
                       optionOf(nativeSocket, QX_SO_TYPE, code) == QX_SOCK_STREAM;
    if (!isListening || !isTcp)
        return QX_E_SOCKET_EINVAL;
    if (m_socketCount == MaxAddresses)
        return QX_E_SOCKET_EMFILE;
    if (QXSocketSetInherited(nativeSocket, 0) != 0)
        return lastCode();
    constexpr uint32_t NotOwn = 0; // others may have it, too
    add(PlatformHandle<&QXSocketClose>(nativeSocket), NotOwn);
    return 0;
}

ENUM_QX_E_SOCKET TcpServerSocket2::accept(TcpWorkerSocket2** out) {
    return acceptEither(out, nullptr, nullptr);
}

ENUM_QX_E_SOCKET TcpServerSocket2::accept(uint64_t* nativeSocket) {
    return acceptEither(nullptr, nativeSocket, nullptr);
}

ENUM_QX_E_SOCKET TcpServerSocket2::acceptEither(TcpWorkerSocket2** out, uint64_t* nativeSocket,
                                                const qx_timeval* limit) {
    if (out != nullptr)
        *out = nullptr;
    if (nativeSocket != nullptr)
        *nativeSocket = QX_NO_SOCKET;
    if (m_socketCount == 0)
        return QX_E_SOCKET_ENOTSOCK;
    if ((out == nullptr) == (nativeSocket == nullptr))
        return QX_E_SOCKET_EINVAL;
    std::optional<sync::TimeBudget> budget;
    if (limit != nullptr)
        budget.emplace(uint64_t{1000} * static_cast<uint32_t>(limit->seconds) +
                       static_cast<uint32_t>(limit->microseconds + 999) / 1000);
    qx_timeval left{};
    qx_sockaddr_union peer{};
    PlatformHandle<&QXSocketClose> accepted;
    for (;;) {
        uint64_t listening = QX_NO_SOCKET;
        if (const ENUM_QX_E_SOCKET code = awaitConnection(listening, limit))
            return code;
        int32_t length = sizeof peer;
        if (QXSocketAccept(listening, &peer, &length, accepted.put()) == 0)
            break;
        if (const ENUM_QX_E_SOCKET code = lastCode(); code != QX_E_SOCKET_EWOULDBLOCK)
            return code;
        // The socket does not wait, and another process that shares it was quicker.
        if (budget) {
            left = TcpWorkerSocket2::timeLimit(std::chrono::milliseconds(budget->milliseconds()));
            limit = &left;
        }
    }
    if (nativeSocket != nullptr) {
        *nativeSocket = accepted.detach();
        return 0;
    }
    ENUM_QX_E_SOCKET code = 0;
    *out = new (std::nothrow) TcpWorkerSocket2(accepted.get(), &peer, &code);
    if (*out == nullptr)
        return QX_E_SOCKET_EFAULT;
    static_cast<void>(accepted.detach());
    return code;
}

/// Waits until one of the sockets has a connection to accept: the first in the list that has.
ENUM_QX_E_SOCKET TcpServerSocket2::awaitConnection(uint64_t& listening,
                                                   const qx_timeval* limit) const {
    static_assert(MaxAddresses < QX_SOCKET_SET_SIZE);
    qx_socket_set read{};
    for (uint32_t i = 0; i < m_socketCount; ++i)
        addToSet(read, m_sockets[i].get());
    qx_socket_set exception = read;
    const int32_t ready = QXSocketSelect(&read, nullptr, &exception, limit);
    if (ready == QX_SOCKET_ERROR)
        return lastCode();
    if (ready == 0 && limit != nullptr)
        return QX_E_SOCKET_ETIMEDOUT;
    // Both sets keep the order of the list.
    if (exception.count > 0) {
        if (const ENUM_QX_E_SOCKET code = takePendingError(exception.sockets[0]))
            return code;
    }
    if (read.count == 0)
        return QX_E_SOCKET_EINTR;
    listening = read.sockets[0];
    return 0;
}

uint64_t TcpServerSocket2::getId() const { return reinterpret_cast<uintptr_t>(this); }

ENUM_QX_E_SOCKET TcpServerSocket2::shutdown(int32_t direction) {
    if (direction < 0 || getClosed())
        return 0;
    ENUM_QX_E_SOCKET last = 0;
    for (uint32_t i = 0; i < m_socketCount; ++i) {
        const ENUM_QX_E_SOCKET code = codeOfCall(QXSocketShutdown(m_sockets[i].get(), direction));
        if (code != 0 && !isNoConnection(code))
            last = code;
    }
    return last;
}

ENUM_QX_E_SOCKET TcpServerSocket2::shutdownInput() { return shutdown(takeShutdown(true, false)); }

ENUM_QX_E_SOCKET TcpServerSocket2::shutdownOutput() { return shutdown(takeShutdown(false, true)); }

ENUM_QX_E_SOCKET TcpServerSocket2::shutdownBoth() { return shutdown(takeShutdown(true, true)); }

ENUM_QX_E_SOCKET TcpServerSocket2::close() {
    if (getClosed())
        return 0;
    setClosed(1);
    ENUM_QX_E_SOCKET last = 0;
    const uint32_t count = std::exchange(m_socketCount, 0u);
    for (uint32_t i = 0; i < count; ++i) {
        QXSocketEndListening(m_sockets[i].get(), m_forkEpochs[i]);
        const ENUM_QX_E_SOCKET code = codeOfCall(m_sockets[i].reset());
        if (code != 0 && !isNoConnection(code))
            last = code;
    }
    return last;
}

} // namespace qx::net
