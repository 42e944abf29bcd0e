#include "Session.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <qx/core/Result.h>

namespace qx::tls {

namespace {

using transport::codeOf;

constexpr int32_t GoodbyeMs = 2000;

constexpr size_t MostOfSubject = 256; // bytes

/// What one call receives at most: OpenSSL goes on for as long as something is there.
constexpr size_t MostPerCall = 65536;
/// Messages of the protocol that a peer may send without data in between: a handshake takes about a
/// dozen, tickets and new keys come one by one.
constexpr int MostMessages = 100;
/// Bytes that a peer may leave waiting, far more than one record and the answers to its messages.
constexpr size_t MostWaiting = 128 * 1024;

int32_t clipped(size_t length) {
    return static_cast<int32_t>(std::min<size_t>(length, std::numeric_limits<int32_t>::max()));
}

/// The subject of a certificate, as "CN = localhost"; the first part of a long one, since it may be
/// anybody's, and goes into logs.
String subjectOf(X509* certificate) {
    const auto text = made(BIO_new(BIO_s_mem()));
    if (certificate)
        X509_NAME_print_ex(text.get(), X509_get_subject_name(certificate), 0,
                           XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
    char* bytes = nullptr;
    const long length = BIO_get_mem_data(text.get(), &bytes);
    const std::string_view subject(bytes, static_cast<size_t>(length));
    return subject.size() <= MostOfSubject
               ? String::fromUtf8(subject)
               : String::fromUtf8(subject.substr(0, MostOfSubject)) + u"...";
}

/// The error that OpenSSL has reported is this one of its own.
bool isReason(int reason) {
    const unsigned long error = ERR_peek_error();
    return ERR_GET_LIB(error) == ERR_LIB_SSL && ERR_GET_REASON(error) == reason;
}

bool isAlert() {
    const unsigned long error = ERR_peek_error();
    return ERR_GET_LIB(error) == ERR_LIB_SSL && ERR_GET_REASON(error) >= SSL_AD_REASON_OFFSET;
}

} // namespace

Handle<BIO_METHOD> Session::newMethod() {
    auto method = made(BIO_meth_new(BIO_TYPE_SOURCE_SINK, "qx socket"));
    BIO_meth_set_write_ex(method.get(), &onWrite);
    BIO_meth_set_read_ex(method.get(), &onRead);
    BIO_meth_set_ctrl(method.get(), &onControl);
    return method;
}

Session::Session(Reference<Context> context, SessionSocket socket)
    : m_context(std::move(context)), m_held(std::move(socket)), m_socket(m_held.get()),
      m_ssl(m_context->newSession()) {
    BIO* const bio = BIO_new(m_context->method());
    if (!bio)
        throwReason();
    BIO_set_data(bio, this);
    BIO_set_init(bio, 1);
    SSL_set_bio(m_ssl.get(), bio, bio);
    SSL_set_app_data(m_ssl.get(), this);
    SSL_set_verify(m_ssl.get(), SSL_get_verify_mode(m_ssl.get()), &onVerify);
    SSL_set_msg_callback(m_ssl.get(), &onMessage);
    SSL_set_msg_callback_arg(m_ssl.get(), this);
    // What follows the last message of a handshake is not to wait until that is acknowledged.
    const int32_t noDelay = 1;
    throwIfFailed(codeOf(QXSocketSetOption(m_socket.get(), QX_IPPROTO_TCP, QX_TCP_NODELAY, &noDelay,
                                           sizeof noDelay)));
    throwIfFailed(codeOf(QXSocketGetNonBlocking(m_socket.get(), &m_wasNonBlocking)));
    throwIfFailed(codeOf(QXSocketSetNonBlocking(m_socket.get(), 1)));
}

Session::Session(Reference<Context> context, SessionSocket socket, String peer)
    : Session(std::move(context), std::move(socket)) {
    m_peer = std::move(peer);
    SSL_set_accept_state(m_ssl.get());
}

Session::Session(Reference<Context> context, SessionSocket socket, const std::string& serverName)
    : Session(std::move(context), std::move(socket)) {
    m_peer = String::fromUtf8(serverName);
    SSL_set_connect_state(m_ssl.get());
    requireHost(serverName);
}

Session::~Session() {
    if (isFromParent())
        return; // what the child would send, and shut down, is its parent's
    // A program that uses OpenSSL itself may not have looked at what failed before.
    ERR_set_mark();
    resultOf([this] { end(); });
    QXSocketShutdown(m_socket.get(), QX_SHUTDOWN_OUTPUT);
    // What lies unread would reset the connection, and with it what is on the way to the peer. That
    // of a peer which sends much that nobody wants may.
    char unread[4096];
    for (int i = 0; i < 16 && QXSocketReceive(m_socket.get(), unread, sizeof unread, 0) > 0; ++i) {
    }
    if (m_held.isLent())
        QXSocketSetNonBlocking(m_socket.get(), m_wasNonBlocking);
    ERR_pop_to_mark();
}

/// Asks the server for a name, and has its certificate checked for that name or address.
void Session::requireHost(const std::string& name) {
    X509_VERIFY_PARAM* const verified = SSL_get0_param(m_ssl.get());
    const std::string address = name.substr(0, name.find('%')); // without the interface
    const bool isAddress = X509_VERIFY_PARAM_set1_ip_asc(verified, address.c_str()) == 1;
    ERR_clear_error();
    if (!isAddress && SSL_set_tlsext_host_name(m_ssl.get(), name.c_str()) != 1)
        throw ResultException(result::InvalidArgument,
                              u"serverName " + m_peer + u": " + takeReason());
    // Names of hosts are those that a certificate has as such; its common name is any text.
    X509_VERIFY_PARAM_set_hostflags(verified, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS |
                                                  X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    if (!m_context->verifiesHost())
        X509_VERIFY_PARAM_set1_ip(verified, nullptr, 0);
    else if (!isAddress && X509_VERIFY_PARAM_set1_host(verified, name.data(), name.size()) != 1)
        throwReason();
}

/// Goes before each call that lets OpenSSL read.
void Session::begin() {
    if (isFromParent()) // with the same keys, which must not serve for two texts
        throw IllegalStateException(u"a TLS connection of the process that was forked");
    if (m_failure)
        throw *m_failure;
    ERR_clear_error();
    m_allowance = MostPerCall;
}

bool Session::handshake() {
    begin();
    if (!m_isDone) {
        const int outcome = SSL_do_handshake(m_ssl.get());
        m_isDone = outcome == 1;
        if (!m_isDone && SSL_get_error(m_ssl.get(), outcome) != SSL_ERROR_WANT_READ)
            fail();
    }
    return flush() && m_isDone;
}

uint32_t Session::wanted() const {
    return (m_isDone ? 0U : QX_POLL_READ) | (m_output.empty() ? 0U : QX_POLL_WRITE);
}

int32_t Session::read(signed char* to, int32_t length) {
    begin();
    const int count = SSL_read(m_ssl.get(), to, length);
    if (count > 0) {
        m_messages = 0;
        return count;
    }
    switch (SSL_get_error(m_ssl.get(), count)) {
    case SSL_ERROR_ZERO_RETURN:
        return -1;
    case SSL_ERROR_WANT_READ:
        return 0;
    default:
        fail();
    }
}

uint32_t Session::write(const signed char* from, int32_t length) {
    begin();
    if (!flush())
        return QX_POLL_WRITE;
    // Where a message of the peer's is half there, OpenSSL reads the rest of it first. It must not
    // read on: a thread that waits for the socket would wait for what is taken off it here.
    SSL_set_read_ahead(m_ssl.get(), 0);
    const int written = SSL_write(m_ssl.get(), from, length);
    SSL_set_read_ahead(m_ssl.get(), 1);
    if (written == length)
        return 0;
    if (SSL_get_error(m_ssl.get(), written) != SSL_ERROR_WANT_READ)
        fail();
    return QX_POLL_READ;
}

bool Session::flush() {
    while (!m_output.empty() && m_writeCode == 0) {
        const int32_t sent =
            QXSocketSend(m_socket.get(), m_output.data(), clipped(m_output.size()), 0);
        const ENUM_QX_E_SOCKET code = codeOf(sent);
        if (code == QX_E_SOCKET_EWOULDBLOCK)
            return false;
        m_writeCode = code;
        if (code == 0)
            m_output.erase(0, static_cast<size_t>(sent));
    }
    return true;
}

void Session::requireOutput() {
    if (m_writeCode == 0)
        return;
    // The peer may have said why it has gone.
    begin();
    char byte;
    if (SSL_peek(m_ssl.get(), &byte, 1) <= 0 && isAlert())
        fail();
    throw ResultException(m_writeCode, m_peer);
}

/// Tells the peer that nothing follows.
void Session::end() {
    // A peer that has not taken what was written so far will not take that either, and must not
    // take a part for the whole.
    if (!m_isDone || m_failure || !flush() || m_writeCode != 0)
        return;
    SSL_shutdown(m_ssl.get());
    const transport::Deadline deadline(GoodbyeMs);
    while (!flush() && transport::await(m_socket, QX_POLL_WRITE, deadline)) {
    }
}

void Session::fail() {
    m_failure.emplace(failure());
    ERR_clear_error();
    throw *m_failure;
}

ResultException Session::failure() const {
    if (m_certificateError != X509_V_OK)
        return {codeOfCertificateError(m_certificateError),
                u"certificate " + m_certificate + u" of " + m_peer + u": " +
                    String::fromUtf8(X509_verify_cert_error_string(m_certificateError))};
    if (m_refusal)
        return {ProtocolFailed, m_peer + u": " + m_refusal};
    if (m_readCode != 0)
        return {m_readCode, m_peer};
    if (isReason(SSL_R_UNEXPECTED_EOF_WHILE_READING))
        return {QX_E_SOCKET_ECONNABORTED,
                m_peer + (m_isDone ? u": cut off before its end" : u": gone in the handshake")};
    return {ProtocolFailed, m_peer + u": " + takeReason()};
}

int Session::onWrite(BIO* bio, const char* from, size_t length, size_t* count) {
    auto* const session = static_cast<Session*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    *count = length;
    if (session->m_output.size() > MostWaiting)
        session->m_refusal = u"takes no answers to what it sends";
    if (session->m_refusal)
        return 0;
    // A connection that takes nothing is no end yet: the peer may have said why.
    return resultOf([&] {
               size_t sent = 0;
               if (session->m_output.empty() && session->m_writeCode == 0) {
                   const int32_t sentNow =
                       QXSocketSend(session->m_socket.get(), from, clipped(length), 0);
                   const ENUM_QX_E_SOCKET code = codeOf(sentNow);
                   if (code == 0)
                       sent = static_cast<size_t>(sentNow);
                   else if (code != QX_E_SOCKET_EWOULDBLOCK)
                       session->m_writeCode = code;
               }
               if (session->m_writeCode == 0)
                   session->m_output.append(from + sent, length - sent);
           }) == result::Ok;
}

int Session::onRead(BIO* bio, char* to, size_t length, size_t* count) {
    auto* const session = static_cast<Session*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    *count = 0;
    if (session->m_refusal)
        return 0;
    if (session->m_allowance == 0) {
        BIO_set_retry_read(bio);
        return 0;
    }
    const int32_t received = QXSocketReceive(session->m_socket.get(), to,
                                             clipped(std::min(length, session->m_allowance)), 0);
    if (received > 0) {
        *count = static_cast<size_t>(received);
        session->m_allowance -= *count;
        return 1;
    }
    const ENUM_QX_E_SOCKET code = codeOf(received);
    if (code == QX_E_SOCKET_EWOULDBLOCK)
        BIO_set_retry_read(bio);
    else if (code != 0)
        session->m_readCode = code;
    else
        session->m_isAtEnd = true;
    return 0;
}

long Session::onControl(BIO* bio, int command, long /*number*/, void* /*pointer*/) {
    switch (command) {
    case BIO_CTRL_FLUSH:
        return 1;
    case BIO_CTRL_EOF:
        return static_cast<const Session*>(BIO_get_data(bio))->m_isAtEnd ? 1 : 0;
    default:
        return 0;
    }
}

/// Refuses a peer that would keep this side busy with nothing but the protocol itself.
void Session::onMessage(int isSent, int /*version*/, int type, const void* bytes, size_t length,
                        SSL* /*ssl*/, void* self) {
    auto* const session = static_cast<Session*>(self);
    if (type == SSL3_RT_HANDSHAKE && !isSent && ++session->m_messages > MostMessages)
        session->m_refusal = u"sends messages of the protocol and no data";
    // The answer of TLS 1.2 to each message that asks for another handshake, a few bytes long.
    if (type == SSL3_RT_ALERT && isSent && length == 2 &&
        static_cast<const unsigned char*>(bytes)[1] == SSL_AD_NO_RENEGOTIATION)
        session->m_refusal = u"asks for another handshake";
}

/// Keeps which certificate is refused, and why.
int Session::onVerify(int isFine, X509_STORE_CTX* verified) {
    const auto* const ssl = static_cast<SSL*>(
        X509_STORE_CTX_get_ex_data(verified, SSL_get_ex_data_X509_STORE_CTX_idx()));
    if (isFine || SSL_get_verify_mode(ssl) == SSL_VERIFY_NONE)
        return 1;
    auto* const session = static_cast<Session*>(SSL_get_app_data(ssl));
    session->m_certificateError = X509_STORE_CTX_get_error(verified);
    resultOf(
        [&] { session->m_certificate = subjectOf(X509_STORE_CTX_get_current_cert(verified)); });
    return 0;
}

} // namespace qx::tls
