#pragma once

#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/util/config/PropertySet.h>

#include "OpenSsl.h"

namespace qx::tls {

/// What all connections of a connector or an acceptor have in common, as a property set says.
///
/// | property            | values       | for                                                     |
/// |---------------------|--------------|---------------------------------------------------------|
/// | `certificate`       | a PEM file   | the own certificate, and behind it those that lead to a |
/// |                     |              | root; acceptors need one                                |
/// | `key`               | a PEM file   | its private key; in the file of the certificate when it |
/// |                     |              | is not set                                              |
/// | `keyPassword`       | text         | of an encrypted key                                     |
/// | `trust`             | a PEM file,  | the roots that certificates of peers must lead to;      |
/// |                     | or a folder  | for connectors those of the system when it is not set   |
/// | `minimumVersion`    | 1.2, 1.3     | both; 1.2 when it is not set                            |
/// | `verify`            | host, chain, | connectors: whether the server's certificate must be    |
/// |                     | none         | valid and of the host, valid, or nothing                |
/// | `serverName`        | name or      | connectors: what the server is asked for and its        |
/// |                     | address      | certificate must be of; `host` when it is not set       |
/// | `clientCertificate` | none,        | acceptors: whether clients are asked for a certificate, |
/// |                     | optional,    | which `trust`, then needed, says; none when it is not   |
/// |                     | required     | set                                                     |
class Context : public Object {
public:
    /// @throws ResultException with result::NotFound or result::InvalidArgument for a property,
    /// with
    ///     the file and OpenSSL's reason where it is about one
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
