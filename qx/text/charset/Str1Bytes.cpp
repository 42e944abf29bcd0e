// Text of a Str1 to and from bytes.

#include "qx/core/Str1.h"

#include <algorithm>

#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/text/charset/CharToByteConverter.h>
#include <qx/text/charset/ConverterState.h>
#include <qx/text/charset/PendingSurrogate.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/ConverterFor.h>
#include <qx/text/charset/detail/Decode.h>
#include <qx/text/charset/detail/EncoderStop.h>

namespace qx {

namespace {

using text::charset::CharToByteConverter;

/// Where decoded units go: the end of a light string.
class DecodeTarget {
public:
    explicit DecodeTarget(Str1& text) : m_text(text) {}
    int32_t length() const { return m_text.getLength(); }
    char16_t* prepare(int32_t capacity) {
        m_text.ensureCapacity1(capacity);
        return m_text.getData1();
    }
    void commit(int32_t length) { m_text.adjustLength(length); }

private:
    Str1& m_text;
};

/// Takes back what was appended, unless it is released.
class LengthGuard {
public:
    explicit LengthGuard(Str1& text) : m_text(&text), m_length(text.getLength()) {}
    ~LengthGuard() {
        if (m_text)
            m_text->adjustLength(m_length);
    }
    LengthGuard(const LengthGuard&) = delete;
    LengthGuard& operator=(const LengthGuard&) = delete;
    void release() { m_text = nullptr; }

private:
    Str1* m_text;
    int32_t m_length;
};

/// True when @p position lies between the two units of a surrogate pair.
bool isWithinPair(std::u16string_view text, int32_t position) {
    const auto at = static_cast<size_t>(position);
    return at > 0 && at < text.size() && text::charset::isHighSurrogate(text[at - 1]) &&
           text::charset::isLowSurrogate(text[at]);
}

/// An encoder that has come to @p position of the text: the bytes of some encodings depend on what
/// stands in front, and those of a text in pieces are those of the whole.
Reference<CharToByteConverter> encoderAt(int32_t position, std::u16string_view text,
                                         const char16_t* encoding) {
    Reference<CharToByteConverter> encoder = CharToByteConverter::getConverter(encoding);
    if (position == 0 || !text::charset::hasConverterState(*encoder))
        return encoder;
    signed char piece[512];
    for (int32_t at = 0, written = 1; at < position && written > 0;) {
        written = 0;
        const auto convert = [&] {
            encoder->convert(text.data(), &at, position, piece, &written, sizeof piece);
        };
        if (resultOf(convert) < 0) { // told before, too
            encoder->reset();
            written = ++at;
        }
    }
    // So was half a pair right in front, which then does not go on behind it. A character that may
    // join the next one has been written alone.
    if (!isWithinPair(text, position))
        text::charset::passHeld(*encoder);
    return encoder;
}

} // namespace

Str1::Str1(const signed char* bytes, int32_t byteLength, const char16_t* encoding) : Str1() {
    appendA(bytes, byteLength, encoding);
}

Str1& Str1::copyA(const signed char* bytes, int32_t byteLength, const char16_t* encoding) {
    return copy(Str1(bytes, byteLength, encoding));
}

Str1& Str1::appendA(const signed char* bytes, int32_t byteLength, const char16_t* encoding) {
    text::charset::detail::DecoderFor decoder(encoding);
    LengthGuard guard(*this);
    detail::decode(*decoder, bytes, detail::byteLength(bytes, byteLength), DecodeTarget(*this));
    guard.release();
    return *this;
}

int32_t Str1::convertToA(signed char* bytes, int32_t capacity, int32_t* byteCount,
                         const char16_t* encoding, int32_t* position) const {
    int32_t at = position ? std::clamp(*position, 0, m_length) : 0;
    int32_t written = 0;
    const int32_t converted = resultOf([&] {
        const Reference<CharToByteConverter> encoder = encoderAt(at, view(), encoding);
        const int32_t from = at;
        encoder->convert(getData0(), &at, m_length, bytes, &written, capacity);
        const bool isHeld = text::charset::heldIn(getConverterState(*encoder)) != 0;
        const auto flush = [&] { encoder->flush(bytes, &written, capacity); };
        // An encoder that has taken the first half of a pair and waits for the second cannot be
        // flushed; the next call then begins with both.
        int32_t ended = result::BufferTooSmall;
        if (at >= m_length)
            ended = resultOf(flush);
        else if (isWithinPair(view(), at) && resultOf(flush) < 0)
            --at;
        else if (text::charset::detail::waitsForInput(*encoder, getData0(), at, m_length))
            text::charset::PendingSurrogate::throwUnpaired();
        if (ended == result::BufferTooSmall) {
            if (isHeld)
                --at; // the next call begins with that, too
            if (at == from)
                written = 0; // a mark without a character behind it, which comes again
        }
        return ended;
    });
    if (byteCount)
        *byteCount = written;
    if (position)
        *position = at;
    return converted;
}

int32_t Str1::convertToAZ(signed char* bytes, int32_t capacity, int32_t* byteCount,
                          const char16_t* encoding, int32_t* position) const {
    if (byteCount)
        *byteCount = 0;
    if (capacity < 1)
        return result::BufferTooSmall;
    int32_t written = 0;
    const int32_t converted = convertToA(bytes, capacity - 1, &written, encoding, position);
    bytes[written] = 0;
    if (byteCount)
        *byteCount = written;
    return converted;
}

int32_t Str1::getLengthA(int32_t* byteCount, const char16_t* encoding, int32_t position) const {
    int64_t total = 0;
    position = std::clamp(position, 0, m_length);
    const int32_t counted = resultOf([&] {
        const Reference<CharToByteConverter> encoder = encoderAt(position, view(), encoding);
        signed char piece[512];
        constexpr int32_t size = sizeof(piece);
        int32_t written = 0;
        do {
            written = 0;
            encoder->convert(getData0(), &position, m_length, piece, &written, size);
            total += written;
        } while (position < m_length && written > 0);
        // The piece has room for any character.
        if (position < m_length)
            text::charset::PendingSurrogate::throwUnpaired();
        written = 0;
        encoder->flush(piece, &written, size);
        total += written;
    });
    if (byteCount)
        *byteCount = detail::checkedSize(total);
    return counted;
}

std::unique_ptr<signed char[]> Str1::getBytesAZ(const char16_t* encoding) const {
    int32_t length = 0;
    throwIfFailed(getLengthA(&length, encoding));
    const int32_t size = detail::checkedSize(int64_t{length} + 1);
    auto bytes = std::make_unique_for_overwrite<signed char[]>(static_cast<size_t>(size));
    throwIfFailed(convertToAZ(bytes.get(), size, nullptr, encoding));
    return bytes;
}

} // namespace qx
