#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include <openssl/x509_vfy.h>

#include <qx/core/Exception.h>
#include <qx/core/ProcessMark.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>

#include "Context.h"
#include "OpenSsl.h"
#include "modules/transport/Sockets.h"

namespace qx::tls {

/// The socket of a session: its own, which is closed with it, or one that is lent to it.
class SessionSocket {
public:
    SessionSocket(transport::Socket own) noexcept : m_socket(std::move(own)) {}
    explicit SessionSocket(uint64_t lent) noexcept : m_socket(lent), m_isLent(true) {}
    SessionSocket(SessionSocket&&) noexcept = default;
    ~SessionSocket() {
        if (m_isLent)
            static_cast<void>(m_socket.detach());
    }

    const transport::Socket& get() const noexcept { return m_socket; }
    bool isLent() const noexcept { return m_isLent; }

private:
    transport::Socket m_socket;
    bool m_isLent = false;
};

/// TLS over a connected socket. No call waits: what there is no room for in the socket is kept, and
/// goes out by flush. Nor does any go on for as long as the peer sends. Used by one thread at a
/// time.
///
/// A child made by fork can only let go of a session of its parent, which does not notice it. All
/// else throws IllegalStateException there.
class Session {
public:
    /// The server's side.
    /// @param peer  whom failures are about
    Session(Reference<Context> context, SessionSocket socket, String peer);
    /// The client's side.
    /// @param serverName  a name or an address, as UTF-8
    Session(Reference<Context> context, SessionSocket socket, const std::string& serverName);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    /// Ends the session, so that the peer does not take the end of the connection for one by
    /// somebody else, and closes the socket. One that is lent waits again if it did before. Waits
    /// two seconds at most for room for the end, and not at all when some of what was written has
    /// not gone out.
    ~Session();

    const transport::Socket& socket() const { return m_socket; }
    const String& peer() const { return m_peer; }
    bool isFromParent() const noexcept { return m_mark.isFromParent(); }

    /// Goes on with the handshake.
    /// @return true when it is done; else the next call is due when the socket is ready for wanted
    /// @throws ResultException when it has failed
    bool handshake();
    /// QX_POLL_... bits.
    uint32_t wanted() const;

    /// Bytes received; -1 after the end of the session, 0 when the next call is due once the socket
    /// is ready.
    /// @throws ResultException with QX_E_SOCKET_ECONNABORTED when the connection ended before the
    ///     session, else with the code of the failure
    int32_t read(signed char* to, int32_t length);
    /// At most MostAtOnce bytes, all of them or none: nothing is taken while something written
    /// before waits.
    /// @return 0, or what the socket has to be ready for before the same is tried again, as
    ///     QX_POLL_... bits
    static constexpr int32_t MostAtOnce = SSL3_RT_MAX_PLAIN_LENGTH;
    uint32_t write(const signed char* from, int32_t length);
    /// True when everything has gone out that has to, or nothing can any more.
    bool flush();
    /// @throws ResultException when nothing can go out any more
    void requireOutput();

    /// How a BIO moves the bytes of a session.
    static Handle<BIO_METHOD> newMethod();

private:
    Session(Reference<Context> context, SessionSocket socket);
    void requireHost(const std::string& name);
    void begin();
    [[noreturn]] void fail();
    ResultException failure() const;
    void end();

    static int onWrite(BIO* bio, const char* from, size_t length, size_t* count);
    static int onRead(BIO* bio, char* to, size_t length, size_t* count);
    static long onControl(BIO* bio, int command, long number, void* pointer);
    static void onMessage(int isSent, int version, int type, const void* bytes, size_t length,
                          SSL* ssl, void* self);
    static int onVerify(int isFine, X509_STORE_CTX* verified);

    const Reference<Context> m_context;
    const SessionSocket m_held;
    const transport::Socket& m_socket; ///< of that
    int32_t m_wasNonBlocking = 0;
    const ProcessMark m_mark;
    String m_peer;
    const Handle<SSL> m_ssl;
    bool m_isDone = false;               ///< the handshake
    bool m_isAtEnd = false;              ///< of what the socket receives
    std::string m_output;                ///< that the socket had no room for
    size_t m_allowance = 0;              ///< bytes that the call under way may still receive
    int m_messages = 0;                  ///< of the protocol since the last data
    const char16_t* m_refusal = nullptr; ///< of a peer that asks for too much
    ENUM_QX_E_SOCKET m_readCode = 0;
    ENUM_QX_E_SOCKET m_writeCode = 0;
    int m_certificateError = X509_V_OK;
    String m_certificate;                     ///< that is refused
    std::optional<ResultException> m_failure; ///< after which nothing goes on
};

} // namespace qx::tls
