#pragma once

#include <cstdint>
#include <span>

#include <qx/core/Reference.h>
#include <qx/platform/export.h>
#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

/// What the bytes at the start of a text say about its encoding.
struct ByteOrderMark {
    /// Name of the encoding; null when there is no mark.
    const char16_t* encoding = nullptr;
    /// In bytes.
    int32_t length = 0;
    /// True when more bytes may still make one, or a longer one.
    bool isOpen = false;
};

/// Looks for the mark of UTF-8, or of UTF-16 or UTF-32 in either byte order, at the start of
/// @p count bytes. FF FE 00 00 is that of UTF-32LE.
QX_API ByteOrderMark findByteOrderMark(const signed char* bytes, int32_t count);

/// An encoding whose text begins with a mark.
struct MarkedEncoding {
    const char16_t* name;
    /// The encoding of text without one.
    const char16_t* unmarked;
    /// What the encoder writes behind the mark.
    const char16_t* written;
    int32_t maxBytesPerChar;
};

/// UTF-16, UTF-32 and UTF-8-SIG. Decoders follow the mark, and take text without one for
/// big-endian; encoders write one and the byte order of the machine.
QX_API std::span<const MarkedEncoding> markedEncodings();

/// Decodes text that may begin with a mark, which is no character of it. Only marks of its own
/// kind count.
class QX_API BTCMarked : public ByteToCharConverter {
public:
    explicit BTCMarked(const MarkedEncoding& encoding);

    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    int32_t flush(char16_t* out, int32_t* outPosition, int32_t outCapacity) override;
    /// Expects a mark again.
    void reset() override;

    /// Whether the start of the text was seen.
    bool hasBegun() const { return static_cast<bool>(m_converter); }

private:
    const MarkedEncoding& m_encoding;
    Reference<ByteToCharConverter> m_converter; ///< null before the start of a text
};

/// Encodes text and writes a mark in front of its first character.
class QX_API CTBMarked : public CharToByteConverter {
public:
    explicit CTBMarked(const MarkedEncoding& encoding);

    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    int32_t flush(signed char* out, int32_t* outPosition, int32_t outCapacity) override;
    /// The next character gets a mark in front.
    void reset() override;

    /// Whether the mark was written.
    bool hasBegun() const { return m_hasBegun; }
    void setBegun(bool hasBegun) { m_hasBegun = hasBegun; }

private:
    Reference<CharToByteConverter> m_converter;
    bool m_hasBegun = false;
};

} // namespace qx::text::charset
