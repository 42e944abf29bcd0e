#pragma once

#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

/// Base of the decoders of fixed-width Unicode forms. They hold nothing between calls.
class QX_API ByteToCharUTF : public ByteToCharConverter {
public:
    int32_t flush(char16_t* out, int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;
    int32_t getMaxBytesPerChar() const override;
    int32_t getMaxCharsPerByte() const override;
};

/// Base of the encoders of fixed-width Unicode forms.
class QX_API CharToByteUTF : public CharToByteConverter {
public:
    int32_t getMaxBytesPerChar() const override;
    int32_t getMaxCharsPerByte() const override;
};

} // namespace qx::text::charset
