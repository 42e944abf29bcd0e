#pragma once

#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

/// Decodes AMP-7: ASCII in which "&AMP;", "&QUOT;" and "&APOS;" stand for the three characters and
/// "&_", up to five hexadecimal digits and ";" for any other. Of what is none of these the first
/// byte alone counts as a character without mapping; so it is with an escape of U+FFFD. A sequence
/// that the end of the input cuts off is left for the next call. An escaped surrogate throws.
class QX_API BTCAMP7 : public ByteToCharConverter {
public:
    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    int32_t flush(char16_t* out, int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;
    const char16_t* getEncodingName() const override;
    int32_t getMaxBytesPerChar() const override;
    int32_t getMaxCharsPerByte() const override;
};

/// Encodes AMP-7. Values above U+FFFFF have no mapping. A lone low surrogate is escaped, a high one
/// without its low one throws; at the end of the input it is left for the next call.
class QX_API CTBAMP7 : public CharToByteConverter {
public:
    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    int32_t flush(signed char* out, int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;
    const char16_t* getEncodingName() const override;
    int32_t getMaxBytesPerChar() const override;
    int32_t getMaxCharsPerByte() const override;
};

} // namespace qx::text::charset
