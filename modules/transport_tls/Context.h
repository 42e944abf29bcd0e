#pragma once

#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/util/config/PropertySet.h>

#include "OpenSsl.h"

namespace qx::tls {

/// What all connections of a connector or an acceptor have in common, as a property set says; of
/// several values the first holds when none is set.
///
/// | property            | values            | for                                               |
/// |---------------------|-------------------|---------------------------------------------------|
/// | `certificate`       | PEM file          | the own certificate, and behind it those that     |
/// |                     |                   | lead to a root; acceptors need one                |
/// | `key`               | PEM file          | its private key; in the file of the certificate   |
/// |                     |                   | when it is not set                                |
/// | `keyPassword`       | text              | of an encrypted key                               |
/// | `trust`             | PEM file, folder  | the roots that certificates of peers must lead    |
/// |                     |                   | to; for connectors those of the system without    |
/// |                     |                   | one                                               |
/// | `minimumVersion`    | 1.2, 1.3          | both                                              |
/// | `verify`            | host, chain, none | connectors: the server's certificate must be      |
/// |                     |                   | valid and of the host, valid, or is not looked at |
/// | `serverName`        | name or address   | connectors: what the server is asked for and its  |
/// |                     |                   | certificate must be of; `host` when it is not set |
/// | `clientCertificate` | none, optional,   | acceptors: whether clients are asked for one,     |
/// |                     | required          | for which `trust`, then needed, must vouch        |
class Context : public Object {
public:
    /// @throws ResultException with a property in its description, and where it is about a file
    ///     with that and OpenSSL's reason
    static Reference<Context> ofConnector(const util::PropertySet& properties);
    static Reference<Context> ofAcceptor(const util::PropertySet& properties);

    /// A new session for one connection. What is sent and received goes through a BIO of the
    /// method, which the session sets.
    Handle<SSL> newSession() const { return made(SSL_new(m_context.get())); }
    const BIO_METHOD* method() const { return m_method.get(); }

    /// The certificate of the server must be of the name that it is asked for.
    bool verifiesHost() const { return m_verifiesHost; }

private:
    Context(const SSL_METHOD* sessions, const util::PropertySet& properties);
    void loadCertificate(const util::PropertySet& properties);
    void loadTrust(const String& path);

    const Handle<BIO_METHOD> m_method;
    const Handle<SSL_CTX> m_context;
    bool m_verifiesHost = false;
};

} // namespace qx::tls
