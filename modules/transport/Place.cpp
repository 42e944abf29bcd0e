#include "Place.h"

#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

#include "Properties.h"

namespace qx::transport {

namespace {

constexpr int32_t HighestPort = 65535;

Place common(const util::PropertySet& properties, int32_t lowestPort) {
    Place place = Place::ofServerSide(properties);
    required(properties, u"port");
    place.port =
        static_cast<uint16_t>(number(properties, u"port", lowestPort, HighestPort, lowestPort));
    return place;
}

std::string checkedHost(std::string host) {
    if (host.empty() || host.find('\0') != std::string::npos)
        refuse(result::InvalidArgument, u"host", u" is neither a name nor an address");
    return host;
}

} // namespace

Place Place::ofConnector(const util::PropertySet& properties, int32_t connectTimeoutMs) {
    Place place = common(properties, 1);
    place.host = checkedHost(required(properties, u"host").toUtf8());
    place.connectTimeoutMs = number(properties, u"connectTimeout", 0, NoLimit, connectTimeoutMs);
    return place;
}

Place Place::ofAcceptor(const util::PropertySet& properties) {
    Place place = common(properties, 0);
    const auto host = find(properties, u"host");
    place.host = checkedHost(host ? host->toUtf8() : "0.0.0.0");
    place.backlog = number(properties, u"backlog", 1, NoLimit, place.backlog);
    return place;
}

Place Place::ofServerSide(const util::PropertySet& properties) {
    Place place;
    place.readTimeoutMs = number(properties, u"readTimeout", 0, NoLimit, 0);
    place.writeTimeoutMs = number(properties, u"writeTimeout", 0, NoLimit, 0);
    return place;
}

void setBoundPort(const util::PropertySet& properties, const Place& place, uint16_t port) {
    const auto text = makeReference<String>(String::valueOf(port));
    // The interface rather than the class: it is the one that may change a constant set.
    const int32_t stored =
        util::PropertySet::getPcom(&properties)->Set(u"boundPort", text->GetUnknown());
    if (place.port == 0) // otherwise the caller knows it
        throwIfFailed(stored);
}

} // namespace qx::transport
