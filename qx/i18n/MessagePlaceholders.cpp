#include "qx/i18n/MessagePlaceholders.h"

#include <qx/core/detail/PatternReader.h>

namespace qx::log {

std::vector<MessagePlaceholder> placeholdersIn(std::u16string_view message) {
    // An index above the number of units cannot be reached without a gap before it.
    const auto placeFrom = [message](size_t at) {
        return qx::detail::findTextPlace(message, at, message.size());
    };
    std::vector<MessagePlaceholder> found;
    for (auto place = placeFrom(0); place; place = placeFrom(place->end))
        found.push_back({place->begin, place->end - place->begin, place->number});
    return found;
}

size_t argumentCount(const std::vector<MessagePlaceholder>& placeholders) {
    std::vector<bool> occurs(placeholders.size() + 1);
    for (const auto& placeholder : placeholders) {
        if (placeholder.index < occurs.size())
            occurs[placeholder.index] = true;
    }
    size_t index = 0;
    while (occurs[index]) // never all: there is one more than placeholders
        ++index;
    return index;
}

} // namespace qx::log
