#pragma once

#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

/// Decodes AMP-7: ASCII in which "&AMP;", "&QUOT;" and "&APOS;" stand for the three characters and
/// "&_", up to five hexadecimal digits and ";" for any other. When a "&" begins none of these, or
/// an escape of U+FFFD, this byte alone counts as a character without mapping, as does a byte above
/// ASCII. A sequence that the end of the input cuts off is left for the next call. An escaped
/// surrogate throws.
class QX_API BTCAMP7 : public ByteToCharConverter {
public:
    BTCAMP7() : ByteToCharConverter({u"AMP-7", 8, 1}) {}

    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;
};

/// Encodes AMP-7. Values above U+FFFFF have no mapping. A lone low surrogate is escaped, a high one
/// without its low one throws; at the end of the input it is left for the next call.
class QX_API CTBAMP7 : public CharToByteConverter {
public:
    CTBAMP7() : CharToByteConverter({u"AMP-7", 8, 1}) {}

    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
};

} // namespace qx::text::charset
