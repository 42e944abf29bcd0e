#pragma once

#include <qx/text/charset/Converter.h>

namespace qx::text::charset {

/// A decoder: bytes of one encoding become UTF-16. The substitution, for bytes without a character,
/// is U+FFFD at first.
class QX_API ByteToCharConverter : public Converter<signed char, char16_t, 3> {
public:
    /// @param traits  what getEncodingName and the two factors return, unless a class over this one
    ///     overrides them
    explicit ByteToCharConverter(const EncodingTraits& traits = {});

    /// Copies up to @p capacity units of the substitution and returns their count; with null
    /// returns its length.
    virtual int32_t getSubstitutionChars(char16_t* units, int32_t capacity) const;
    /// @throws RangeErrorException for more than 3 units
    virtual void setSubstitutionChars(const char16_t* units, int32_t count);

    /// A new decoder for the encoding, with count 0; null asks for the default one.
    /// @throws UnknownEncodingException with the name; ResultException with result::TooManyFiles
    ///     and std::bad_alloc when that keeps the codec from being found
    static ByteToCharConverter* getConverter(const char16_t* encodingName);
    /// A new decoder for the encoding of the user's locale, ASCII when it names none.
    /// @throws UnknownEncodingException with the name
    static ByteToCharConverter* getDefaultConverter();
};

} // namespace qx::text::charset

using CQXByteToCharConverter = qx::text::charset::ByteToCharConverter;
