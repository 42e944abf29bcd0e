#include "qx/text/charset/MultiByte.h"

#include <qx/text/charset/detail/Window.h>

namespace qx::text::charset {

int32_t BTCMultiByte::convert(const signed char* in, int32_t* inPosition, int32_t inLength,
                              char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    detail::DecodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    while (window.left() > 0) {
        window.advance(convertRun(window.in(), window.left(), window.out(), window.room()));
        // For want of room, a run ends in front of any character, and of a U+FFFD that is no fault.
        if (window.left() == 0 || window.room() == 0)
            break;
        const auto available = static_cast<int32_t>(window.left());
        int32_t count = available;
        const char32_t value =
            convertBytes(reinterpret_cast<const signed char*>(window.in()), &count);
        if (count <= 0)
            break;
        // A codec may come from elsewhere; it cannot have read more than there was.
        const auto consumed = static_cast<size_t>(std::min(count, available));
        bool fits;
        if (value == ReplacementCharacter || value > LastCodePoint) {
            detail::requireSubstitution(getSubstitutionMode());
            fits = window.replace(consumed, substitution());
        } else if (isSurrogate(value)) {
            throw InvalidCharacterException(
                u"Invalid byte sequence (decoded chars in surrogate range)"_qs);
        } else {
            char16_t units[2];
            const char16_t* const end = writeUtf16(value, units);
            fits = window.replace(consumed, std::span<const char16_t>(units, end));
        }
        if (!fits)
            break;
    }
    return window.finish(inPosition, outPosition);
}

RunLength BTCMultiByte::convertRun(const uint8_t*, size_t, char16_t*, size_t) { return {}; }

int32_t BTCMultiByte::flush(char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    if (m_pendingUnit == 0)
        return 0;
    if (outCapacity - *outPosition < 2) {
        throw InvalidCharacterException(u"Not enough room in buffer for trailing surrogate"_qs);
    }
    out[(*outPosition)++] = std::exchange(m_pendingUnit, u'\0');
    return 1;
}

void BTCMultiByte::reset() { m_pendingUnit = 0; }

const char16_t* BTCMultiByte::getEncodingName() const { return m_name.getData(); }

int32_t CTBMultiByte::convert(const char16_t* in, int32_t* inPosition, int32_t inLength,
                              signed char* out, int32_t* outPosition, int32_t outCapacity) {
    constexpr int32_t Room = 6;
    detail::PendingWindow window(m_pending, in, inPosition, inLength, out, outPosition,
                                 outCapacity);
    while (window.left() > 0) {
        if (!m_pending) {
            window.advance(convertRun(window.in(), window.left(), window.out(), window.room()));
            if (window.left() == 0)
                break;
        }
        const char16_t unit = *window.in();
        const auto [value, units] = next(unit);
        signed char bytes[Room];
        const int32_t count = std::min(convertChar(value, bytes, Room), Room);
        bool fits;
        if (count > 0) {
            const std::span<const signed char> written(bytes, static_cast<size_t>(count));
            fits = window.replace(units, written);
        } else if (isHighSurrogate(value)) {
            m_pending.set(unit);
            window.advance(1, 0);
            continue;
        } else if (isLowSurrogate(value)) {
            throw InvalidCharacterException(u"trailing surrogate without leading"_qs);
        } else {
            detail::requireSubstitution(getSubstitutionMode());
            signed char form[LongestForm + 7]; // and the longest substitution
            signed char* const end = std::copy(substitution().begin(), substitution().end(),
                                               form + beginSubstitution(form, LongestForm));
            fits = window.replace(units, std::span<const signed char>(form, end));
        }
        if (!fits) {
            takeBack();
            break;
        }
        m_pending.clear();
    }
    return window.finish(inPosition, outPosition);
}

RunLength CTBMultiByte::convertRun(const char16_t*, size_t, uint8_t*, size_t) { return {}; }

int32_t CTBMultiByte::beginSubstitution(signed char*, int32_t) { return 0; }

void CTBMultiByte::takeBack() {}

const char16_t* CTBMultiByte::getEncodingName() const { return m_name.getData(); }

} // namespace qx::text::charset
