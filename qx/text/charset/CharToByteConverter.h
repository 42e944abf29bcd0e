#pragma once

#include <qx/text/charset/Converter.h>
#include <qx/text/charset/PendingSurrogate.h>

namespace qx::text::charset {

/// An encoder: UTF-16 becomes bytes of one encoding. The substitution, for characters that the
/// encoding lacks, is "?" at first.
class QX_API CharToByteConverter : public Converter<char16_t, signed char, 7> {
public:
    /// @param traits  what getEncodingName and the two factors return, unless a class over this one
    ///     overrides them
    explicit CharToByteConverter(const EncodingTraits& traits = {});

    int32_t flush(signed char* out, int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;

    /// Copies up to @p capacity bytes of the substitution and returns their count; with null
    /// returns its length.
    virtual int32_t getSubstitutionBytes(signed char* bytes, int32_t capacity) const;
    /// @throws RangeErrorException for more than 7 bytes
    virtual void setSubstitutionBytes(const signed char* bytes, int32_t count);

    /// A new encoder for the encoding, with count 0; null asks for the default one.
    /// @throws UnknownEncodingException with the name
    static CharToByteConverter* getConverter(const char16_t* encodingName);
    /// A new encoder for the encoding of the user's locale, ASCII when it names none.
    /// @throws UnknownEncodingException with the name
    static CharToByteConverter* getDefaultConverter();

protected:
    /// The first half of a pair that came at the end of the input of convert, for an encoder that
    /// takes it in.
    PendingSurrogate m_pending;
};

} // namespace qx::text::charset

using CQXCharToByteConverter = qx::text::charset::CharToByteConverter;
