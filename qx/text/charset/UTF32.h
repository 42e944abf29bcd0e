#pragma once

#include <bit>

#include <qx/text/charset/RunLength.h>
#include <qx/text/charset/UTF.h>

namespace qx::text::charset {

/// Decodes UTF-32 of one byte order. Surrogates throw; values above U+10FFFF have no mapping.
class QX_API BTCUTF32 : public ByteToCharUTF {
public:
    using ByteToCharUTF::ByteToCharUTF;

    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    /// A value as the machine reads it from the bytes, put into its true order.
    virtual char32_t convertUTF32(char32_t value) const = 0;

protected:
    using RunIn = uint8_t;
    using RunOut = char16_t;

    /// Converts the values at the start of @p count that are code points and fit; a derived class
    /// may leave all to convertUTF32.
    virtual RunLength convertRun(const uint8_t* in, size_t count, char16_t* out,
                                 size_t capacity) const;
};

/// Encodes UTF-32 of one byte order. A lone low surrogate is written as its own value; a high one
/// without its low one throws.
class QX_API CTBUTF32 : public CharToByteUTF {
public:
    using CharToByteUTF::CharToByteUTF;

    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    /// A pending surrogate that is reported is forgotten.
    int32_t flush(signed char* out, int32_t* outPosition, int32_t outCapacity) override;
    /// A value as the machine is to write it.
    virtual char32_t convertUTF32(char32_t value) const = 0;

protected:
    using RunIn = char16_t;
    using RunOut = uint8_t;

    /// Converts the characters at the start of @p size units that are no lone surrogates, into at
    /// most @p capacity values; a derived class may leave all to convertUTF32.
    virtual RunLength convertRun(const char16_t* in, size_t size, uint8_t* out,
                                 size_t capacity) const;
};

/// BTCUTF32 or CTBUTF32 with its byte order.
template <class Base, std::endian Order>
class QX_API OrderedUTF32 : public Base {
public:
    OrderedUTF32();

    char32_t convertUTF32(char32_t value) const final;

protected:
    RunLength convertRun(const typename Base::RunIn* in, size_t size, typename Base::RunOut* out,
                         size_t capacity) const final;
};

extern template class QX_API OrderedUTF32<BTCUTF32, std::endian::little>;
extern template class QX_API OrderedUTF32<BTCUTF32, std::endian::big>;
extern template class QX_API OrderedUTF32<CTBUTF32, std::endian::little>;
extern template class QX_API OrderedUTF32<CTBUTF32, std::endian::big>;

/// The four converters, each with its own byte order; a byte-order mark is an ordinary character.
class QX_API BTCUTF32LE : public OrderedUTF32<BTCUTF32, std::endian::little> {};
class QX_API BTCUTF32BE : public OrderedUTF32<BTCUTF32, std::endian::big> {};
class QX_API CTBUTF32LE : public OrderedUTF32<CTBUTF32, std::endian::little> {};
class QX_API CTBUTF32BE : public OrderedUTF32<CTBUTF32, std::endian::big> {};

} // namespace qx::text::charset
