#pragma once

#include <bit>

#include <qx/text/charset/UTF.h>

namespace qx::text::charset {

/// Decodes UTF-16 of one byte order; surrogates pass unchecked.
class QX_API BTCUTF16 : public ByteToCharUTF {
public:
    using ByteToCharUTF::ByteToCharUTF;

    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    /// A unit as the machine reads it from the bytes, put into its true order.
    virtual char16_t convertUTF16(char16_t unit) const = 0;

protected:
    /// Copies @p count units through convertUTF16.
    virtual void convertUnits(const void* in, void* out, size_t count) const;
};

/// Encodes UTF-16 of one byte order; surrogates pass unchecked.
class QX_API CTBUTF16 : public CharToByteUTF {
public:
    using CharToByteUTF::CharToByteUTF;

    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    /// A unit as the machine is to write it.
    virtual char16_t convertUTF16(char16_t unit) const = 0;

protected:
    /// Copies @p count units through convertUTF16.
    virtual void convertUnits(const void* in, void* out, size_t count) const;
};

/// BTCUTF16 or CTBUTF16 with its byte order.
template <class Base, std::endian Order>
class QX_API OrderedUTF16 : public Base {
public:
    OrderedUTF16();

    char16_t convertUTF16(char16_t unit) const final;

protected:
    void convertUnits(const void* in, void* out, size_t count) const final;
};

extern template class QX_API OrderedUTF16<BTCUTF16, std::endian::little>;
extern template class QX_API OrderedUTF16<BTCUTF16, std::endian::big>;
extern template class QX_API OrderedUTF16<CTBUTF16, std::endian::little>;
extern template class QX_API OrderedUTF16<CTBUTF16, std::endian::big>;

/// The four converters, each with its own byte order; a byte-order mark is an ordinary character.
class QX_API BTCUTF16LE : public OrderedUTF16<BTCUTF16, std::endian::little> {};
class QX_API BTCUTF16BE : public OrderedUTF16<BTCUTF16, std::endian::big> {};
class QX_API CTBUTF16LE : public OrderedUTF16<CTBUTF16, std::endian::little> {};
class QX_API CTBUTF16BE : public OrderedUTF16<CTBUTF16, std::endian::big> {};

} // namespace qx::text::charset
