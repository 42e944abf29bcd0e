#include "qx/text/charset/UTF16.h"

#include <cstring>

#include <qx/text/charset/detail/Window.h>

namespace qx::text::charset {

namespace {

/// One unit after the other through @p convertUnit, between buffers without alignment.
template <class Convert>
void copyUnits(const void* in, void* out, size_t count, Convert convertUnit) {
    const auto* from = static_cast<const uint8_t*>(in);
    auto* to = static_cast<uint8_t*>(out);
    for (size_t i = 0; i < count; ++i) {
        char16_t unit;
        std::memcpy(&unit, from + 2 * i, sizeof unit);
        unit = convertUnit(unit);
        std::memcpy(to + 2 * i, &unit, sizeof unit);
    }
}

/// Units up to the first surrogate without partner, which may stand behind the last.
size_t wholeLength(const char16_t* units, size_t size) {
    size_t length = 0;
    while (length < size) {
        if (!isSurrogate(units[length]))
            ++length;
        else if (size - length > 1 && isHighSurrogate(units[length]) &&
                 isLowSurrogate(units[length + 1]))
            length += 2;
        else
            break;
    }
    return length;
}

} // namespace

int32_t BTCUTF16::convert(const signed char* in, int32_t* inPosition, int32_t inLength,
                          char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    detail::DecodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    const size_t count = std::min(window.left() / 2, window.room());
    convertUnits(window.in(), window.out(), count);
    window.advance(2 * count, count);
    return window.finish(inPosition, outPosition);
}

void BTCUTF16::convertUnits(const void* in, void* out, size_t count) const {
    copyUnits(in, out, count, [this](char16_t unit) { return convertUTF16(unit); });
}

int32_t CTBUTF16::convert(const char16_t* in, int32_t* inPosition, int32_t inLength,
                          signed char* out, int32_t* outPosition, int32_t outCapacity) {
    detail::EncodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    while (replacesHalves() && window.left() > 0) {
        if (!m_pending) {
            const size_t size = std::min(window.left(), window.room() / 2);
            const size_t whole = wholeLength(window.in(), size);
            convertUnits(window.in(), window.out(), whole);
            window.advance(whole, 2 * whole);
            if (window.left() == 0 || (whole == size && window.room() < 2))
                break;
            if (isHighSurrogate(*window.in())) {
                m_pending.set(*window.in());
                window.advance(1, 0);
                continue;
            }
        }
        const auto [value, units] = next(*window.in());
        char16_t form[2];
        const auto count = static_cast<size_t>(writeUtf16(value, form) - form);
        if (window.room() < 2 * count)
            break;
        convertUnits(form, window.out(), count);
        window.advance(units, 2 * count);
        m_pending.clear();
    }
    if (replacesHalves())
        return window.finish(inPosition, outPosition);
    const size_t count = std::min(window.left(), window.room() / 2);
    convertUnits(window.in(), window.out(), count);
    window.advance(count, 2 * count);
    return window.finish(inPosition, outPosition);
}

void CTBUTF16::convertUnits(const void* in, void* out, size_t count) const {
    copyUnits(in, out, count, [this](char16_t unit) { return convertUTF16(unit); });
}

template <class Base, std::endian Order>
OrderedUTF16<Base, Order>::OrderedUTF16()
    : Base(Order == std::endian::little ? u"UTF-16LE" : u"UTF-16BE") {}

template <class Base, std::endian Order>
char16_t OrderedUTF16<Base, Order>::convertUTF16(char16_t unit) const {
    return Order == std::endian::native ? unit : __builtin_bswap16(unit);
}

template <class Base, std::endian Order>
void OrderedUTF16<Base, Order>::convertUnits(const void* in, void* out, size_t count) const {
    if (count == 0)
        return;
    if constexpr (Order == std::endian::native)
        std::memcpy(out, in, 2 * count);
    else
        detail::kernels().swapUnits(in, out, count);
}

template class OrderedUTF16<BTCUTF16, std::endian::little>;
template class OrderedUTF16<BTCUTF16, std::endian::big>;
template class OrderedUTF16<CTBUTF16, std::endian::little>;
template class OrderedUTF16<CTBUTF16, std::endian::big>;

} // namespace qx::text::charset
