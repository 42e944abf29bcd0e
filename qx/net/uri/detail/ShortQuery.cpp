#include "qx/net/uri/detail/ShortQuery.h"

#include <algorithm>
#include <utility>

#include <qx/collections/pcom/HashMap.h>
#include <qx/core/detail/SampledHash.h>

namespace qx::net::detail {

namespace {

using collections::pcom::HashMap;

// The table does not grow while it is filled.
static_assert(ShortQuery::ManyPieces < HashMap::DEFAULT_CAPACITY * HashMap::DEFAULT_LOAD);

uint32_t lowerAscii(char16_t unit) noexcept {
    return unit >= u'A' && unit <= u'Z' ? uint32_t{unit} + (u'a' - u'A') : unit;
}

bool isSameKey(std::u16string_view left, std::u16string_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char16_t l, char16_t r) { return lowerAscii(l) == lowerAscii(r); });
}

} // namespace

bool ShortQuery::isAscii(std::u16string_view text) noexcept {
    char16_t all = 0;
    for (const char16_t unit : text)
        all |= unit;
    return all < 0x80;
}

bool ShortQuery::hasFewPieces(std::u16string_view text) noexcept {
    return static_cast<size_t>(std::count(text.begin(), text.end(), u'&')) + 1 < ManyPieces;
}

bool ShortQuery::isShort(std::u16string_view text) noexcept {
    return hasFewPieces(text) && isAscii(text);
}

std::optional<std::u16string_view> ShortQuery::find(std::u16string_view key) const noexcept {
    std::optional<std::u16string_view> found;
    forEachPiece(m_text, [&](std::u16string_view each, std::u16string_view value) {
        if (isSameKey(each, key))
            found = value; // the last one counts
    });
    return found;
}

size_t ShortQuery::collect(Pair (&pairs)[ManyPieces]) const noexcept {
    Pair* end = pairs;
    forEachPiece(m_text, [&](std::u16string_view key, std::u16string_view value) {
        Pair* const known =
            std::find_if(pairs, end, [&](const Pair& pair) { return isSameKey(pair.key, key); });
        known->value = value;
        if (known != end)
            return;
        known->key = key;
        known->bucket = qx::detail::sampledHash(key, lowerAscii) % HashMap::DEFAULT_CAPACITY;
        ++end;
    });
    // A walk takes the buckets from the last one down, and in each first what was put last.
    std::sort(pairs, end, [](const Pair& left, const Pair& right) {
        return std::pair(left.bucket, left.key.data()) > std::pair(right.bucket, right.key.data());
    });
    return static_cast<size_t>(end - pairs);
}

} // namespace qx::net::detail
