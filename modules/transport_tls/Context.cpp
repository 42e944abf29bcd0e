#include "Context.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include <openssl/err.h>

#include <qx/core/Result.h>
#include <qx/platform/native.h>
#include <qx/util/SystemName.h>

#include "Session.h"
#include "modules/transport/Properties.h"

namespace qx::tls {

namespace {

using transport::find;
using transport::refuse;

/// Refuses a file that OpenSSL could not use.
[[noreturn]] void refuseFile(const char16_t* property, const String& path) {
    const unsigned long error = ERR_peek_error();
    const int32_t code = ERR_SYSTEM_ERROR(error) ? QXResultFromErrno(ERR_GET_REASON(error))
                                                 : result::InvalidArgument;
    refuse(code, property, u" " + path + u": " + takeReason());
}

/// Text that is wiped when it goes.
struct Secret {
    std::string text;
    ~Secret() { OPENSSL_cleanse(text.data(), text.size()); }
};

/// Without a password nobody is asked for one: that would be at the terminal, if there is any.
int givePassword(char* buffer, int size, int /*isToWrite*/, void* password) {
    const auto* const text = static_cast<const std::string*>(password);
    if (!text || text->size() > static_cast<size_t>(size))
        return -1;
    std::memcpy(buffer, text->data(), text->size());
    return static_cast<int>(text->size());
}

/// The memory of OpenSSL stays until the process ends, since a program may have connections for so
/// long.
const SSL_METHOD* started(const SSL_METHOD* (*sessions)()) {
    if (OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1)
        throwReason();
    return sessions();
}

} // namespace

Context::Context(const SSL_METHOD* sessions, const util::PropertySet& properties)
    : m_method(Session::newMethod()), m_context(made(SSL_CTX_new(sessions))) {
    SSL_CTX* const context = m_context.get();
    const bool onlyNewest = transport::choice(properties, u"minimumVersion", {u"1.2", u"1.3"}) == 1;
    const int least = onlyNewest ? TLS1_3_VERSION : TLS1_2_VERSION;
    if (SSL_CTX_get_min_proto_version(context) < least) // the system may ask for more
        SSL_CTX_set_min_proto_version(context, least);
    // No session is taken up again. Tickets for that would lie unread at a client that only sends,
    // and reset the connection when it closes.
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context, 0);
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET);
    SSL_CTX_set_read_ahead(context, 1); // a record with one call
    loadCertificate(properties);
}

Reference<Context> Context::ofConnector(const util::PropertySet& properties) {
    const Reference<Context> made = new Context(started(&TLS_client_method), properties);
    const size_t verified = transport::choice(properties, u"verify", {u"host", u"chain", u"none"});
    made->m_verifiesHost = verified == 0;
    SSL_CTX_set_verify(made->m_context.get(), verified == 2 ? SSL_VERIFY_NONE : SSL_VERIFY_PEER,
                       nullptr);
    if (const auto path = find(properties, u"trust"))
        made->loadTrust(*path);
    else
        SSL_CTX_set_default_verify_paths(made->m_context.get());
    return made;
}

Reference<Context> Context::ofAcceptor(const util::PropertySet& properties) {
    const Reference<Context> made = new Context(started(&TLS_server_method), properties);
    if (!find(properties, u"certificate"))
        refuse(result::NotFound, u"certificate", u" is not set");
    const size_t wanted =
        transport::choice(properties, u"clientCertificate", {u"none", u"optional", u"required"});
    if (wanted == 0)
        return made;
    // Not whom the system trusts to vouch for servers.
    made->loadTrust(transport::required(properties, u"trust"));
    SSL_CTX_set_verify(made->m_context.get(),
                       SSL_VERIFY_PEER | (wanted == 2 ? SSL_VERIFY_FAIL_IF_NO_PEER_CERT : 0),
                       nullptr);
    return made;
}

void Context::loadCertificate(const util::PropertySet& properties) {
    const auto certificate = find(properties, u"certificate");
    const auto key = find(properties, u"key");
    if (!certificate) {
        if (key)
            refuse(result::InvalidArgument, u"key", u" is set without a certificate");
        return;
    }
    SSL_CTX* const context = m_context.get();
    const auto password = find(properties, u"keyPassword");
    Secret secret{password ? password->toUtf8() : std::string()};
    SSL_CTX_set_default_passwd_cb(context, &givePassword);
    SSL_CTX_set_default_passwd_cb_userdata(context, password ? &secret.text : nullptr);
    ERR_clear_error();
    if (SSL_CTX_use_certificate_chain_file(context, util::toSystemName(*certificate).c_str()) != 1)
        refuseFile(u"certificate", *certificate);
    const String& keyPath = key ? *key : *certificate;
    const int loaded =
        SSL_CTX_use_PrivateKey_file(context, util::toSystemName(keyPath).c_str(), SSL_FILETYPE_PEM);
    SSL_CTX_set_default_passwd_cb_userdata(context, nullptr);
    if (loaded != 1)
        refuseFile(u"key", keyPath);
    // Loading finds two that do not belong together only where they are of one kind.
    if (SSL_CTX_check_private_key(context) != 1)
        refuse(result::InvalidArgument, u"key",
               u" " + keyPath + u": of another kind than the certificate");
}

void Context::loadTrust(const String& path) {
    const std::string name = util::toSystemName(path);
    std::error_code ignored;
    ERR_clear_error();
    const int loaded = std::filesystem::is_directory(name, ignored)
                           ? SSL_CTX_load_verify_dir(m_context.get(), name.c_str())
                           : SSL_CTX_load_verify_file(m_context.get(), name.c_str());
    if (loaded != 1)
        refuseFile(u"trust", path);
}

} // namespace qx::tls
