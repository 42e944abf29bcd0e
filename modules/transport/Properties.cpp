#include "Properties.h"

#include <algorithm>
#include <charconv>

#include <qx/core/Result.h>

namespace qx::transport {

void refuse(int32_t code, const char16_t* property, TextView why) {
    const String description = String(property).append(why);
    throwResult(code, String(description, String::AM_COPY).getData());
}

std::optional<String> find(const util::PropertySet& properties, const char16_t* name) {
    const String property(name);
    if (!properties.hasProperty(property))
        return std::nullopt;
    return properties.get(property);
}

String required(const util::PropertySet& properties, const char16_t* name) {
    const auto text = find(properties, name);
    if (!text)
        refuse(result::NotFound, name, u" is not set");
    return *text;
}

int32_t number(const util::PropertySet& properties, const char16_t* name, int32_t lowest,
               int32_t highest, int32_t otherwise) {
    const auto value = find(properties, name);
    if (!value)
        return otherwise;
    const std::string text = value->toUtf8();
    int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || parsed != end || text.front() == '-' || number < lowest ||
        number > highest)
        refuse(result::InvalidArgument, name, u" is no number in its range");
    return number;
}

size_t choice(const util::PropertySet& properties, const char16_t* name,
              std::initializer_list<std::u16string_view> values) {
    const auto value = find(properties, name);
    if (!value)
        return 0;
    const auto found =
        std::ranges::find_if(values, [&](std::u16string_view known) { return *value == known; });
    if (found != values.end())
        return static_cast<size_t>(found - values.begin());
    String why(u" is none of");
    for (const std::u16string_view known : values)
        why.append(u" ").append(known);
    refuse(result::InvalidArgument, name, why);
}

} // namespace qx::transport
