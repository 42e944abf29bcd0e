#pragma once

#include <atomic>

#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

namespace detail {
struct PageDecoder;
struct PageEncoder;
class MadePageEncoder;
} // namespace detail

/// Base of the decoders of encodings with one byte per character. Only a substitution of exactly
/// one unit is written for a byte without mapping, any other length drops the byte.
class QX_API BTCSingleByte : public ByteToCharConverter {
public:
    /// @param name  canonical name of the encoding, 0-terminated; not copied
    explicit BTCSingleByte(const char16_t* name = u"") : ByteToCharConverter({name}) {}

    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;

    /// The unit for a byte, U+FFFD when it has none.
    virtual char16_t convertByte(signed char byte) const = 0;

protected:
    /// Converts the bytes before the first without mapping and returns their count. The default
    /// asks convertByte for each, also for the classes over those below, whose own objects have a
    /// faster one; a class that overrides both keeps them in agreement.
    virtual size_t convertRun(const uint8_t* in, size_t size, char16_t* out) const;
};

/// Base of the encoders of encodings with one byte per character. Only a substitution of exactly
/// one byte is written for a character without mapping, any other length drops the character. Lone
/// surrogates throw.
class QX_API CTBSingleByte : public CharToByteConverter {
public:
    /// @param name  canonical name of the encoding, 0-terminated; not copied
    explicit CTBSingleByte(const char16_t* name = u"") : CharToByteConverter({name}) {}

    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;

    /// The byte for a unit, 0 when it has none; U+0000 is always 0.
    virtual signed char convertChar(char16_t unit) const = 0;

protected:
    /// Converts the units before the first without mapping and returns their count. The default
    /// asks convertChar for each, also for the classes over those below, whose own objects have a
    /// faster one; a class that overrides both keeps them in agreement.
    virtual size_t convertRun(const char16_t* in, size_t size, uint8_t* out) const;
};

/// Decodes ASCII: bytes from 0x80 on have no mapping.
class QX_API BTCASCII : public BTCSingleByte {
public:
    BTCASCII() : BTCSingleByte(u"ASCII") {}

    char16_t convertByte(signed char byte) const override;

protected:
    size_t convertRun(const uint8_t* in, size_t size, char16_t* out) const override;
};

/// Encodes the units below U+0080.
class QX_API CTBASCII : public CTBSingleByte {
public:
    CTBASCII() : CTBSingleByte(u"ASCII") {}

    signed char convertChar(char16_t unit) const override;

protected:
    size_t convertRun(const char16_t* in, size_t size, uint8_t* out) const override;
};

/// Decodes ISO 8859-1: every byte is the code point of its value.
class QX_API BTCISO8859_1 : public BTCSingleByte {
public:
    BTCISO8859_1() : BTCSingleByte(u"ISO8859_1") {}

    char16_t convertByte(signed char byte) const override;

protected:
    size_t convertRun(const uint8_t* in, size_t size, char16_t* out) const override;
};

/// Encodes the units below U+0100.
class QX_API CTBISO8859_1 : public CTBSingleByte {
public:
    CTBISO8859_1() : CTBSingleByte(u"ISO8859_1") {}

    signed char convertChar(char16_t unit) const override;

protected:
    size_t convertRun(const char16_t* in, size_t size, uint8_t* out) const override;
};

/// Decodes through a table.
class QX_API BTCSingleByteTable : public BTCSingleByte {
public:
    /// @param name   0-terminated
    /// @param units  256 units by byte, U+FFFD for a byte without mapping; neither is copied
    BTCSingleByteTable(const char16_t* name, const char16_t* units)
        : BTCSingleByte(name), m_units(units) {}
    ~BTCSingleByteTable() override;

    char16_t convertByte(signed char byte) const override;

protected:
    /// A page of the library, whose tables are shared.
    BTCSingleByteTable(const char16_t* name, const detail::PageDecoder& page);

    size_t convertRun(const uint8_t* in, size_t size, char16_t* out) const override;
    /// What convertRun is for an object of this class itself: asks the table alone.
    size_t convertRunByTable(const uint8_t* in, size_t size, char16_t* out) const;

private:
    const detail::PageDecoder& page() const;

    const char16_t* m_units;
    const detail::PageDecoder* m_shared = nullptr;
    /// Made by the first run where none is shared.
    mutable std::atomic<const detail::PageDecoder*> m_made{nullptr};
};

/// Encodes through a table in two levels.
class QX_API CTBSingleByteTable : public CTBSingleByte {
public:
    /// @param name     0-terminated
    /// @param offsets  256 offsets into @p bytes by the high byte of the unit
    /// @param bytes    at the offset and the low byte of the unit its byte, 0 for none; none of the
    ///                 three is copied
    CTBSingleByteTable(const char16_t* name, const int32_t* offsets, const signed char* bytes)
        : CTBSingleByte(name), m_offsets(offsets), m_bytes(bytes) {}
    ~CTBSingleByteTable() override;

    signed char convertChar(char16_t unit) const override;

protected:
    /// A page of the library, whose tables are shared.
    CTBSingleByteTable(const char16_t* name, const detail::PageEncoder& page);

    size_t convertRun(const char16_t* in, size_t size, uint8_t* out) const override;
    /// What convertRun is for an object of this class itself: asks the table alone.
    size_t convertRunByTable(const char16_t* in, size_t size, uint8_t* out) const;

private:
    const detail::PageEncoder& page() const;

    const int32_t* m_offsets;
    const signed char* m_bytes;
    const detail::PageEncoder* m_shared = nullptr;
    /// Made by the first run where none is shared.
    mutable std::atomic<const detail::MadePageEncoder*> m_made{nullptr};
};

/// IBM code page 437.
class QX_API BTCCP437 : public BTCSingleByteTable {
public:
    BTCCP437();
};

/// The reverse of BTCCP437.
class QX_API CTBCP437 : public CTBSingleByteTable {
public:
    CTBCP437();
};

/// Windows code page 1252; the bytes 81, 8D, 8F, 90 and 9D are undefined.
class QX_API BTCCP1252 : public BTCSingleByteTable {
public:
    BTCCP1252();
};

/// The reverse of BTCCP1252.
class QX_API CTBCP1252 : public CTBSingleByteTable {
public:
    CTBCP1252();
};

} // namespace qx::text::charset

using CQXBTCSingleByte = qx::text::charset::BTCSingleByte;
using CQXCTBSingleByte = qx::text::charset::CTBSingleByte;
using CQXBTCSingleByteTable = qx::text::charset::BTCSingleByteTable;
using CQXCTBSingleByteTable = qx::text::charset::CTBSingleByteTable;
