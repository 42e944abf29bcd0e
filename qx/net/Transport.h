#pragma once

#include <qx/core/AnyText.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/net/ITransport.h>
#include <qx/platform/export.h>

namespace qx::net {

/// Finds transports, which are components:
///
///     qx::util::PropertySet place;
///     place.set(u"host"_qs, u"localhost"_qs);
///     place.set(u"port"_qs, u"7"_qs);
///     const auto tcp = qx::net::Transport::get(u"Orbelle.Transport.TCP"_qs);
///     const auto channel = tcp->createConnector(place)->connect();
class QX_API Transport {
public:
    Transport() = delete;

    /// A new transport of the component whose programmatic identifier is @p name.
    /// @throws ResultException with the result of the creation; result::NotFound when there is no
    ///     such component
    static Reference<ITransport> get(const String& name);
    static Reference<ITransport> get(const OtherText auto& name) { return get(stringOf(name)); }
};

} // namespace qx::net
