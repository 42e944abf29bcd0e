#include "qx/i18n/MessagePlaceholders.h"

#include <optional>

namespace qx::log {

namespace {

/// The placeholder that @p text has at @p start, where a brace opens.
std::optional<MessagePlaceholder> placeholderAt(std::u16string_view text, size_t start) {
    size_t at = start + 1;
    size_t index = 0;
    // An index above the number of units cannot be reached without a gap before it.
    for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9' && index <= text.size(); ++at)
        index = index * 10 + (text[at] - u'0');
    const size_t digits = at - start - 1;
    const bool isCanonical = digits == 1 || (digits > 1 && text[start + 1] != u'0');
    if (!isCanonical || at == text.size() || text[at] != u'}')
        return std::nullopt;
    return MessagePlaceholder{start, at + 1 - start, index};
}

} // namespace

std::vector<MessagePlaceholder> placeholdersIn(std::u16string_view message) {
    std::vector<MessagePlaceholder> found;
    for (size_t at = message.find(u'{'); at != message.npos; at = message.find(u'{', at + 1)) {
        if (const auto placeholder = placeholderAt(message, at))
            found.push_back(*placeholder);
    }
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
