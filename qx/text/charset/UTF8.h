#pragma once

#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

/// Decodes UTF-8. A byte that begins no sequence, or whose sequence is broken off, becomes U+FFFD
/// whatever the substitution mode, and the next byte is looked at anew. Over-long forms give the
/// value they spell, surrogates throw, and only values above U+10FFFF are subject to substitution.
class QX_API BTCUTF8 : public ByteToCharConverter {
public:
    BTCUTF8() : ByteToCharConverter({u"UTF-8", 6, 4}) {}

    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;

    /// Strict decoding, off at first: everything ill-formed, over-long forms, surrogates and values
    /// above U+10FFFF included, becomes one U+FFFD per maximal subpart, as on the web. Never
    /// throws.
    void setStrict(bool strict) { m_strict = strict; }
    bool isStrict() const { return m_strict; }

private:
    bool m_strict = false;
};

/// Encodes UTF-8. A lone low surrogate is written like any other unit, in three bytes; a high one
/// without its low one throws.
class QX_API CTBUTF8 : public CharToByteConverter {
public:
    CTBUTF8() : CharToByteConverter({u"UTF-8", 6, 1}) {}

    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    /// Whether the first half of a pair waits for the other.
    bool isPending() const noexcept { return static_cast<bool>(m_pending); }
    /// A pending surrogate that is reported is forgotten.
    int32_t flush(signed char* out, int32_t* outPosition, int32_t outCapacity) override;
};

} // namespace qx::text::charset
