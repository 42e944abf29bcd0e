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
