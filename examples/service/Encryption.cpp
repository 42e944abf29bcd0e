#include "Encryption.h"

#include <mutex>

#include <qx/core/Exception.h>
#include <qx/util/config/PropertySet.h>

#include "Link.h"

namespace collector {

using qx::String;

Encryption::Encryption(const Settings& settings) : m_settings(settings) {
    if (isOn())
        renew();
}

void Encryption::renew() {
    const String idle = String::valueOf(static_cast<int64_t>(m_settings.idle.count()));
    qx::util::PropertySet properties;
    properties.set(u"certificate", m_settings.certificate);
    if (!m_settings.key.isEmpty())
        properties.set(u"key", m_settings.key);
    if (!m_settings.trust.isEmpty()) {
        properties.set(u"trust", m_settings.trust);
        properties.set(u"clientCertificate", u"required");
    }
    properties.set(u"connectTimeout", idle);
    properties.set(u"writeTimeout", idle);
    properties.set(u"readTimeout", String::valueOf(Link::TickMs));
    try {
        auto side = qx::makeReference<qx::net::ServerSide>(u"Orbelle.Transport.TLS", properties);
        const std::lock_guard lock(m_lock);
        m_side = std::move(side);
    } catch (const qx::Exception& failure) {
        throw UsageFailure(u"TLS: " + qx::describe(failure));
    }
}

qx::Reference<qx::net::ServerSide> Encryption::side() const {
    const std::lock_guard lock(m_lock);
    return m_side;
}

} // namespace collector
