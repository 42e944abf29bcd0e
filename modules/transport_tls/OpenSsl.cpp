#include "OpenSsl.h"

#include <system_error>

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include <qx/core/Exception.h>
#include <qx/platform/result.h>

namespace qx::tls {

String takeReason() {
    const unsigned long error = ERR_get_error();
    ERR_clear_error(); // those that follow say where, not why
    if (ERR_SYSTEM_ERROR(error))
        return String(std::system_category().message(ERR_GET_REASON(error)).c_str());
    const char* const reason = ERR_reason_error_string(error);
    return reason ? String::fromUtf8(reason) : String(u"for no reason that is told");
}

void throwReason() { throw ResultException(result::Fail, takeReason()); }

int32_t codeOfCertificateError(int error) {
    switch (error) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return CertificateExpired;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return CertificateUntrusted;
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
        return CertificateOfAnotherHost;
    default:
        return CertificateRefused;
    }
}

} // namespace qx::tls
