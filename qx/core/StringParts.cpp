// Texts that a String is put together from, and its characters.

#include "qx/core/String.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include <qx/core/Exception.h>
#include <qx/core/Surrogates.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/TextChange.h>
#include <qx/core/detail/UnitSearch.h>

namespace qx {

namespace {

using text::charset::isHighSurrogate;
using text::charset::isLowSurrogate;
using text::charset::isSurrogate;

using Block [[gnu::vector_size(16)]] = uint16_t;
constexpr size_t BlockUnits = sizeof(Block) / sizeof(char16_t);

template <size_t Blocks>
bool haveSurrogates(const char16_t* units) noexcept {
    Block found{};
    for (size_t i = 0; i < Blocks; ++i) {
        Block block;
        std::memcpy(&block, units + i * BlockUnits, sizeof block);
        found |= reinterpret_cast<Block>((block & 0xF800) == 0xD800);
    }
    uint64_t halves[2];
    std::memcpy(halves, &found, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

/// First place from @p at on of a surrogate, or the length.
size_t findSurrogate(std::u16string_view text, size_t at) {
    const auto skip = [&]<size_t Blocks>(std::integral_constant<size_t, Blocks>) {
        while (text.size() - at >= Blocks * BlockUnits && !haveSurrogates<Blocks>(&text[at]))
            at += Blocks * BlockUnits;
    };
    skip(std::integral_constant<size_t, 4>());
    skip(std::integral_constant<size_t, 1>());
    while (at < text.size() && !isSurrogate(text[at]))
        ++at;
    return at;
}

/// First place from @p at on of a surrogate that is not part of a pair, or the length.
size_t findUnpaired(std::u16string_view text, size_t at) {
    constexpr size_t Nearby = 16; // where there is a pair, others are not far
    while ((at = findSurrogate(text, at)) < text.size()) {
        for (size_t end = at + 1; at < std::min(end, text.size());) {
            if (!isSurrogate(text[at])) {
                ++at;
                continue;
            }
            const bool isPair =
                isHighSurrogate(text[at]) && text.size() - at > 1 && isLowSurrogate(text[at + 1]);
            if (!isPair)
                return at;
            at += 2;
            end = at + Nearby;
        }
    }
    return at;
}

} // namespace

String& String::append(char32_t codePoint) {
    if (codePoint > text::charset::LastCodePoint) {
        throw RangeErrorException(u"not a code point: " +
                                  valueOf(static_cast<uint32_t>(codePoint)));
    }
    char16_t units[2];
    const char16_t* const end = text::charset::writeUtf16(codePoint, units);
    return append(TextView(units, static_cast<int32_t>(end - units)));
}

bool String::isWellFormed() const noexcept { return findUnpaired(view(), 0) == view().size(); }

String& String::toWellFormed() {
    TextStorage::Change change(m_storage);
    const size_t length = change.view().size();
    size_t at = findUnpaired(change.view(), 0);
    if (at == length)
        return *this;
    const auto all = change.prepareAll();
    for (; at < length; at = findUnpaired({all.units, length}, at + 1))
        all.units[at] = text::charset::ReplacementCharacter;
    return finish(change, all.length);
}

String& String::replaceAll(TextView text, TextView replacement) {
    if (m_storage.isForeign()) [[unlikely]] {
        TextStorage::Change change(m_storage);
        String result(change.view());
        if (result.replaceAll(change.keep(text), change.keep(replacement)) == change.view())
            return *this;
        const int32_t length = result.getLength();
        std::copy_n(result.getData(), length, change.prepare(length + 1, 0));
        return finish(change, length);
    }
    const std::u16string_view own = view();
    size_t found = text.empty() ? std::u16string_view::npos : detail::findText(own, text);
    if (found == std::u16string_view::npos)
        return *this;
    // Both may lie in this text, which therefore stays until the new one is complete.
    String result(detail::checkedSize(std::ssize(own) + 1));
    size_t copied = 0;
    for (; found != std::u16string_view::npos; found = detail::findText(own.substr(copied), text)) {
        result.append(own.substr(copied, found));
        result.append(replacement);
        copied += found + text.size();
    }
    result.append(own.substr(copied));
    dropBytes();
    return become(std::move(result));
}

std::vector<String> String::split(TextView separator, int32_t limit) const {
    if (separator.empty())
        throw RangeErrorException(u"an empty separator"_qs);
    std::vector<String> texts;
    std::u16string_view rest = view();
    if (separator.size() == 1) { // quickly counted
        const auto all = static_cast<int32_t>(std::count(rest.begin(), rest.end(), separator[0]));
        texts.reserve(detail::sizeOf(limit < 1 ? all : std::min(all, limit - 1)) + 1);
    }
    while (limit < 1 || std::ssize(texts) < limit - 1) {
        const size_t found = detail::findText(rest, separator);
        if (found == std::u16string_view::npos)
            break;
        texts.emplace_back(rest.substr(0, found));
        rest.remove_prefix(found + separator.size());
    }
    texts.emplace_back(rest);
    return texts;
}

} // namespace qx
