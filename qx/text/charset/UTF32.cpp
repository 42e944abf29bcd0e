#include "qx/text/charset/UTF32.h"

#include <qx/platform/detail/ByteOrder.h>
#include <qx/text/charset/detail/Window.h>

namespace qx::text::charset {

namespace {

/// The kernels of a byte order, by the direction of their arguments.
template <std::endian Order>
RunLength runKernel(const uint8_t* in, size_t size, char16_t* out, size_t capacity) {
    const auto& kernels = detail::kernels();
    const auto kernel =
        Order == std::endian::native ? kernels.utf32ToUtf16 : kernels.utf32SwappedToUtf16;
    return kernel(in, size, out, capacity);
}

template <std::endian Order>
RunLength runKernel(const char16_t* in, size_t size, uint8_t* out, size_t capacity) {
    const auto& kernels = detail::kernels();
    const auto kernel =
        Order == std::endian::native ? kernels.utf16ToUtf32 : kernels.utf16ToUtf32Swapped;
    return kernel(in, size, out, capacity);
}

} // namespace

int32_t BTCUTF32::convert(const signed char* in, int32_t* inPosition, int32_t inLength,
                          char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    detail::DecodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    for (;;) {
        const RunLength run =
            convertRun(window.in(), window.left() / 4, window.out(), window.room());
        window.advance(4 * run.read, run.written);
        if (window.left() < 4 || window.room() == 0)
            break;
        const char32_t value =
            convertUTF32(platform::loadOrdered<char32_t, std::endian::native>(window.in()));
        if (isSurrogate(value))
            throw InvalidCharacterException(u"Illegal UTF-32 char in surrogate range"_qs);
        if (value > LastCodePoint) {
            detail::requireSubstitution(getSubstitutionMode());
            // One unit stays free behind the substitution.
            if (window.room() <= substitution().size() || !window.replace(4, substitution()))
                break;
        } else {
            const auto length = static_cast<size_t>(utf16Length(value));
            if (window.room() < length)
                break;
            writeUtf16(value, window.out());
            window.advance(4, length);
        }
    }
    return window.finish(inPosition, outPosition);
}

RunLength BTCUTF32::convertRun(const uint8_t*, size_t, char16_t*, size_t) const { return {}; }

int32_t CTBUTF32::convert(const char16_t* in, int32_t* inPosition, int32_t inLength,
                          signed char* out, int32_t* outPosition, int32_t outCapacity) {
    detail::PendingWindow window(m_pending, in, inPosition, inLength, out, outPosition,
                                 outCapacity);
    while (window.left() > 0 && window.room() >= 4) {
        if (!m_pending) {
            const RunLength run =
                convertRun(window.in(), window.left(), window.out(), window.room() / 4);
            window.advance(run.read, 4 * run.written);
            if (window.left() == 0 || window.room() < 4)
                break;
        }
        const char16_t unit = *window.in();
        if (!m_pending && isHighSurrogate(unit)) {
            m_pending.set(unit);
            window.advance(1, 0);
            continue;
        }
        const auto [value, units] = next(unit);
        platform::storeOrdered<std::endian::native>(convertUTF32(value), window.out());
        window.advance(units, 4);
        m_pending.clear();
    }
    return window.finish(inPosition, outPosition);
}

int32_t CTBUTF32::flush(signed char* out, int32_t* outPosition, int32_t outCapacity) {
    const int32_t written = flushPending(out, outPosition, outCapacity);
    m_pending.reportAndClear();
    return written;
}

RunLength CTBUTF32::convertRun(const char16_t*, size_t, uint8_t*, size_t) const { return {}; }

template <class Base, std::endian Order>
OrderedUTF32<Base, Order>::OrderedUTF32()
    : Base(Order == std::endian::little ? u"UTF-32LE" : u"UTF-32BE") {}

template <class Base, std::endian Order>
char32_t OrderedUTF32<Base, Order>::convertUTF32(char32_t value) const {
    return platform::ordered<Order>(value);
}

template <class Base, std::endian Order>
RunLength OrderedUTF32<Base, Order>::convertRun(const typename Base::RunIn* in, size_t size,
                                                typename Base::RunOut* out, size_t capacity) const {
    return runKernel<Order>(in, size, out, capacity);
}

template class OrderedUTF32<BTCUTF32, std::endian::little>;
template class OrderedUTF32<BTCUTF32, std::endian::big>;
template class OrderedUTF32<CTBUTF32, std::endian::little>;
template class OrderedUTF32<CTBUTF32, std::endian::big>;

} // namespace qx::text::charset
