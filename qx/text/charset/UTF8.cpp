#include "qx/text/charset/UTF8.h"

#include <algorithm>

#include <qx/text/charset/detail/Utf8.h>
#include <qx/text/charset/detail/Window.h>

namespace qx::text::charset {

namespace {

using detail::DecodeWindow;

/// Length of the sequence at the start of the input that is whole or can still become so: the
/// maximal subpart of an ill-formed one, as the Unicode standard calls it, 1 at the least.
size_t maximalSubpart(const uint8_t* in, size_t size) {
    const uint8_t lead = in[0];
    const size_t length = detail::announcedLength(lead);
    if (length < 2 || size < 2)
        return 1;
    // Over-long forms, surrogates and values that are too large show in the second byte.
    const uint8_t first = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const uint8_t last = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (in[1] < first || in[1] > last)
        return 1;
    size_t part = 2;
    while (part < std::min(length, size) && detail::isContinuation(in[part]))
        ++part;
    return part;
}

/// Decodes the one sequence that stopped the kernel; false when the call has to stop there too.
bool decodeStrictly(DecodeWindow& window) {
    const size_t length = detail::announcedLength(*window.in());
    const size_t part = maximalSubpart(window.in(), window.left());
    // Either cut off by the end of the input, or whole and too long for the output.
    if (part == length || (part == window.left() && part < length))
        return false;
    return window.replace(part, ReplacementCharacter);
}

bool areContinuations(const uint8_t* bytes, size_t count) {
    return std::all_of(bytes, bytes + count, detail::isContinuation);
}

} // namespace

int32_t BTCUTF8::convert(const signed char* in, int32_t* inPosition, int32_t inLength,
                         char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    DecodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    const auto decodeLeniently = [&] {
        const size_t length = detail::announcedLength(*window.in());
        if (length > window.left())
            return false;
        if (length == 0 || !areContinuations(window.in() + 1, length - 1))
            return window.replace(1, ReplacementCharacter);
        const char32_t value = detail::assemble(window.in(), length);
        if (window.room() == 0)
            return false;
        if (isSurrogate(value)) {
            throw InvalidCharacterException(
                u"Invalid UTF-8 sequence (decoded chars in surrogate range)"_qs);
        }
        if (value > LastCodePoint) {
            detail::requireSubstitution(getSubstitutionMode());
            // One unit stays free behind the substitution.
            return window.room() > substitution().size() && window.replace(length, substitution());
        }
        // An over-long form, or a pair that does not fit.
        return value < 0x10000 && window.replace(length, static_cast<char16_t>(value));
    };

    while (window.left() > 0) {
        window.run(detail::kernels().utf8ToUtf16);
        if (window.left() > 0 && !(m_strict ? decodeStrictly(window) : decodeLeniently()))
            break;
    }
    return window.finish(inPosition, outPosition);
}

int32_t CTBUTF8::convert(const char16_t* in, int32_t* inPosition, int32_t inLength,
                         signed char* out, int32_t* outPosition, int32_t outCapacity) {
    detail::PendingWindow window(m_pending, in, inPosition, inLength, out, outPosition,
                                 outCapacity);
    while (window.left() > 0) {
        if (!m_pending) {
            window.run(detail::kernels().utf16ToUtf8);
            if (window.left() == 0)
                break;
        }
        const char16_t unit = *window.in();
        if (!m_pending && isHighSurrogate(unit)) {
            m_pending.set(unit);
            window.advance(1, 0);
            continue;
        }
        const auto [value, units] = next(unit);
        const size_t length = detail::utf8Length(value);
        if (window.room() < length)
            break;
        detail::writeUtf8(value, window.out());
        window.advance(units, length);
        m_pending.clear();
    }
    return window.finish(inPosition, outPosition);
}

int32_t CTBUTF8::flush(signed char* out, int32_t* outPosition, int32_t outCapacity) {
    const int32_t written = flushPending(out, outPosition, outCapacity);
    m_pending.reportAndClear();
    return written;
}

} // namespace qx::text::charset
