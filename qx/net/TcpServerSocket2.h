#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include <qx/core/PlatformHandle.h>
#include <qx/net/InetSocketAddress.h>
#include <qx/net/TcpSocket2.h>
#include <qx/net/TcpWorkerSocket2.h>
#include <qx/sync/Duration.h>

namespace qx::net {

/// A server that listens on up to 20 local addresses of both families at once.
///
/// In order: fill the bind list, bind, listen, save the bound addresses if they are needed, accept
/// in a loop. Other threads may use the sockets that accept hands out while the server goes on.
class QX_API TcpServerSocket2 : public TcpSocket2 {
public:
    static constexpr uint32_t MaxAddresses = 20;

    /// Makes a server, which the caller owns; null after a failure. Sockets come with bind.
    /// @p type and @p protocol are those of every listening socket.
    [[nodiscard]] static ENUM_QX_E_SOCKET createTcpServerSocket2(int family, int type, int protocol,
                                                                 TcpServerSocket2** out);
    /// Shuts the output down and closes, unless that has happened.
    ~TcpServerSocket2() override;

    /// Adds the any address of IPv6 and then of IPv4. QX_E_SOCKET_EFAULT when one found no room.
    [[nodiscard]] ENUM_QX_E_SOCKET bindListAddAddrAny(uint16_t port);
    /// Adds the addresses that the hosts resolve to, except those that stand for all or none.
    /// @param hosts    names or numeric addresses, separated by commas and blanks behind them
    /// @param service  name of a TCP service, taken when @p port is 0
    /// @return the outcome of the last host: QX_E_SOCKET_HOST_NOT_FOUND when it added none
    [[nodiscard]] ENUM_QX_E_SOCKET bindListAddAddrInfo(const char* hosts, const char* service,
                                                       uint16_t port);
    /// Adds the addresses that one host resolves to, as bindListAddAddrInfo does. With port 0 the
    /// system chooses a free one for each when they are bound.
    [[nodiscard]] ENUM_QX_E_SOCKET bindListAddHost(const char* host, uint16_t port);
    /// How many addresses are in the bind list and in the bound list.
    uint32_t getBindCount() const { return m_bindList.count; }
    uint32_t getBoundCount() const { return m_boundList.count; }
    void bindListClear();
    void boundListClear();
    /// Forgets the listening sockets without closing them.
    void socketListClear();
    /// When the bind list holds exactly one address, keeps it aside. Empties the list in any case.
    /// The next saveBoundAddresses stores the kept address and no other.
    ENUM_QX_E_SOCKET bindListSaveOneForNamedPipeReply();

    /// Makes a socket for every address of the bind list and binds it.
    /// @return 0 when at least one is bound, even if the machine lacks a family; else the last
    ///     failure
    [[nodiscard]] ENUM_QX_E_SOCKET bind();
    /// Listens on every socket. A backlog below 1 is the highest that the system has.
    /// @return the last failure; the others listen all the same
    [[nodiscard]] ENUM_QX_E_SOCKET listen(int backlog);
    /// Takes over a socket that listens already, as a service manager hands it to a program; it
    /// counts like one that bind has made and is closed on exec. No bind and no listen is needed.
    /// @return QX_E_SOCKET_EINVAL for what is no listening TCP socket, QX_E_SOCKET_EMFILE beyond
    ///     MaxAddresses, QX_E_SOCKET_ENOTSOCK for what is no socket; the caller then keeps it
    [[nodiscard]] ENUM_QX_E_SOCKET addListening(uint64_t nativeSocket);
    /// Appends the address of every listening socket to the bound list.
    [[nodiscard]] ENUM_QX_E_SOCKET saveBoundAddresses();

    /// Waits without limit for a connection on any of the sockets; when several have one, the first
    /// in the list counts. The caller owns the worker; null after a failure to accept.
    [[nodiscard]] ENUM_QX_E_SOCKET accept(TcpWorkerSocket2** out);
    /// The same, with the bare socket; all ones after a failure.
    [[nodiscard]] ENUM_QX_E_SOCKET accept(uint64_t* nativeSocket);
    /// Waits no longer than @p duration, unless another process that shares the sockets takes the
    /// connection that ended the wait: then until the next one comes to that address, if its socket
    /// is one that waits, as those of bind are.
    /// @return QX_E_SOCKET_ETIMEDOUT when no connection came
    template <sync::Duration D>
    [[nodiscard]] ENUM_QX_E_SOCKET accept(TcpWorkerSocket2** out, const D& duration) {
        const qx_timeval limit = TcpWorkerSocket2::timeLimit(duration);
        return acceptEither(out, nullptr, &limit);
    }

    /// Socket address at @p index of the bound list. @p length is the capacity, then the length, 0
    /// after a failure: QX_E_SOCKET_EADDRNOTAVAIL beyond the list.
    [[nodiscard]] ENUM_QX_E_SOCKET getBoundAddress(uint32_t index, signed char* buffer,
                                                   size_t* length) const;
    /// The addresses of a list as text, separated by "; ". @p length is the capacity in bytes, then
    /// the bytes stored, the terminating nul among them; 0 and QX_E_SOCKET_EFAULT when they do not
    /// fit.
    [[nodiscard]] ENUM_QX_E_SOCKET bindListAddressesDiagnosticStrA(char* buffer,
                                                                   uint32_t* length) const;
    [[nodiscard]] ENUM_QX_E_SOCKET boundListAddressesDiagnosticStrA(char* buffer,
                                                                    uint32_t* length) const;

    /// The family given at creation; the addresses alone say what is bound.
    int32_t getFamily() const { return m_family; }
    /// This object's own address as a number.
    uint64_t getId() const override;
    ENUM_QX_E_SOCKET shutdownInput() override;
    ENUM_QX_E_SOCKET shutdownOutput() override;
    ENUM_QX_E_SOCKET shutdownBoth() override;
    ENUM_QX_E_SOCKET close() override;

private:
    /// A list of owned addresses, of which the first count slots are used.
    struct AddressList {
        std::unique_ptr<InetSocketAddress> entries[MaxAddresses];
        uint32_t count = 0;

        bool isFull() const { return count == MaxAddresses; }
        void add(std::unique_ptr<InetSocketAddress> address) {
            entries[count++] = std::move(address);
        }
        void clear();
        ENUM_QX_E_SOCKET diagnostics(char* buffer, uint32_t* length) const;
    };

    TcpServerSocket2(int family, int type, int protocol);
    ENUM_QX_E_SOCKET addAny(uint16_t family, uint16_t port);
    ENUM_QX_E_SOCKET addHost(const char* host, uint16_t port);
    ENUM_QX_E_SOCKET bindOne(const InetSocketAddress& address, bool& goesOn, bool& isFatal);
    ENUM_QX_E_SOCKET saveBound(uint64_t socket);
    ENUM_QX_E_SOCKET acceptEither(TcpWorkerSocket2** out, uint64_t* nativeSocket,
                                  const qx_timeval* limit);
    ENUM_QX_E_SOCKET awaitConnection(uint64_t& listening, const qx_timeval* limit) const;
    ENUM_QX_E_SOCKET shutdown(int32_t direction);
    void add(PlatformHandle<&QXSocketClose> socket, uint32_t forkEpoch);

    int32_t m_family;
    int32_t m_type;
    int32_t m_protocol;
    PlatformHandle<&QXSocketClose> m_sockets[MaxAddresses];
    uint32_t m_forkEpochs[MaxAddresses] = {}; // before each was made; 0 for one of somebody else
    uint32_t m_socketCount = 0;
    AddressList m_bindList;
    AddressList m_boundList;
    std::unique_ptr<InetSocketAddress> m_savedReply;
};

} // namespace qx::net
