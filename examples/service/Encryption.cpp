#include "Encryption.h"

#include <algorithm>
#include <chrono>
#include <mutex>

#include <qx/core/Exception.h>
#include <qx/util/config/PropertySet.h>

#include "Link.h"

namespace collector {

using qx::String;

namespace {

/// For the handshake, which holds one of the connections: less than lines may take to come.
constexpr std::chrono::milliseconds LongestHandshake{10'000};

String number(std::chrono::milliseconds time) {
    return String::valueOf(static_cast<int64_t>(time.count()));
}

} // namespace

Encryption::Encryption(const Settings& settings) : m_settings(settings) {
    if (isOn())
        renew();
}

void Encryption::renew() {
    qx::util::PropertySet properties;
    properties.set(u"certificate", m_settings.certificate);
    if (!m_settings.key.isEmpty())
        properties.set(u"key", m_settings.key);
    if (!m_settings.trust.isEmpty()) {
        properties.set(u"trust", m_settings.trust);
        properties.set(u"clientCertificate", u"required");
    }
    properties.set(u"connectTimeout", number(std::min(m_settings.idle, LongestHandshake)));
    properties.set(u"writeTimeout", number(m_settings.idle));
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
