#include "Settings.h"

#include <charconv>
#include <limits>
#include <optional>
#include <utility>

#include <qx/core/Result.h>

namespace qx::tcp {

namespace {

constexpr int32_t NoLimit = std::numeric_limits<int32_t>::max();
constexpr int32_t HighestPort = 65535;

[[noreturn]] void refuse(int32_t code, const char16_t* property, const char16_t* why) {
    const String description = String(property).append(why);
    throwResult(code, String(description, String::AM_COPY).getData());
}

std::optional<std::string> find(const util::PropertySet& properties, const char16_t* name) {
    const String property(name);
    if (!properties.hasProperty(property))
        return std::nullopt;
    return properties.get(property).toUtf8();
}

/// The number of a property that is there.
int32_t numberOf(const std::string& text, const char16_t* name, int32_t lowest, int32_t highest) {
    int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || parsed != end || text.front() == '-' || number < lowest ||
        number > highest)
        refuse(result::InvalidArgument, name, u" is no number in its range");
    return number;
}

std::string required(const util::PropertySet& properties, const char16_t* name) {
    auto text = find(properties, name);
    if (!text)
        refuse(result::NotFound, name, u" is not set");
    return std::move(*text);
}

Settings common(const util::PropertySet& properties, int32_t lowestPort) {
    Settings settings;
    settings.port = static_cast<uint16_t>(
        numberOf(required(properties, u"port"), u"port", lowestPort, HighestPort));
    if (const auto text = find(properties, u"readTimeout"))
        settings.readTimeoutMs = numberOf(*text, u"readTimeout", 0, NoLimit);
    return settings;
}

std::string checkedHost(std::string host) {
    if (host.empty() || host.find('\0') != std::string::npos)
        refuse(result::InvalidArgument, u"host", u" is neither a name nor an address");
    return host;
}

} // namespace

Settings Settings::ofConnector(const util::PropertySet& properties) {
    Settings settings = common(properties, 1);
    settings.host = checkedHost(required(properties, u"host"));
    return settings;
}

Settings Settings::ofAcceptor(const util::PropertySet& properties) {
    Settings settings = common(properties, 0);
    settings.host = checkedHost(find(properties, u"host").value_or("0.0.0.0"));
    if (const auto text = find(properties, u"backlog"))
        settings.backlog = numberOf(*text, u"backlog", 1, NoLimit);
    return settings;
}

int32_t setBoundPort(const util::PropertySet& properties, uint16_t port) {
    const auto text = makeReference<String>(String::valueOf(port));
    // The interface rather than the class: it is the one that may change a constant set.
    return util::PropertySet::getPcom(&properties)->Set(u"boundPort", text->GetUnknown());
}

} // namespace qx::tcp
