#include "qx/text/charset/CodecTable.h"

namespace qx::text::charset {

namespace {

// A row of the table: code page, canonical name and classes come from the encoding, name and alias
// mark differ.
struct Encoding {
    const char16_t* name;
    uint32_t codePage;
    const char16_t* encoderClass;
    const char16_t* decoderClass;
};

constexpr CodecRow primary(const Encoding& encoding) {
    return {encoding.name, encoding.codePage, nullptr, encoding.encoderClass,
            encoding.decoderClass};
}

constexpr CodecRow alias(const char16_t* name, const Encoding& encoding) {
    return {name, encoding.codePage, encoding.name, encoding.encoderClass, encoding.decoderClass};
}

// clang-format off
constexpr Encoding ASCII     = {u"ASCII", 20127, u"qx::text::charset::CTBASCII", u"qx::text::charset::BTCASCII"};
constexpr Encoding ISO8859_1 = {u"ISO8859_1", 28591, u"qx::text::charset::CTBISO8859_1", u"qx::text::charset::BTCISO8859_1"};
constexpr Encoding CP437     = {u"CP437", 437, u"qx::text::charset::CTBCP437", u"qx::text::charset::BTCCP437"};
constexpr Encoding CP1252    = {u"CP1252", 1252, u"qx::text::charset::CTBCP1252", u"qx::text::charset::BTCCP1252"};
constexpr Encoding UTF8      = {u"UTF-8", 65001, u"qx::text::charset::CTBUTF8", u"qx::text::charset::BTCUTF8"};
constexpr Encoding UTF16LE   = {u"UTF-16LE", 0, u"qx::text::charset::CTBUTF16LE", u"qx::text::charset::BTCUTF16LE"};
constexpr Encoding UTF16BE   = {u"UTF-16BE", 0, u"qx::text::charset::CTBUTF16BE", u"qx::text::charset::BTCUTF16BE"};
constexpr Encoding UTF32BE   = {u"UTF-32BE", 0, u"qx::text::charset::CTBUTF32BE", u"qx::text::charset::BTCUTF32BE"};
constexpr Encoding UTF32LE   = {u"UTF-32LE", 0, u"qx::text::charset::CTBUTF32LE", u"qx::text::charset::BTCUTF32LE"};
constexpr Encoding AMP7      = {u"AMP-7", 0, u"qx::text::charset::CTBAMP7", u"qx::text::charset::BTCAMP7"};

constexpr CodecRow Rows[] = {
    primary(ASCII),
    alias(u"ANSI_X3.4-1968", ASCII),
    alias(u"ISO-IR-6", ASCII),
    alias(u"ANSI_X3.4-1986", ASCII),
    alias(u"ISO_646.IRV:1991", ASCII),
    alias(u"ASCII", ASCII),
    alias(u"ISO646-US", ASCII),
    alias(u"US-ASCII", ASCII),
    alias(u"US", ASCII),
    alias(u"IBM367", ASCII),
    alias(u"CP367", ASCII),
    alias(u"CSASCII", ASCII),
    alias(u"646", ASCII),
    alias(u"DEFAULT", ASCII),
    alias(u"ASCII7", ASCII),
    primary(ISO8859_1),
    alias(u"ISO_8859-1:1987", ISO8859_1),
    alias(u"ISO-IR-100", ISO8859_1),
    alias(u"ISO_8859-1", ISO8859_1),
    alias(u"ISO-8859-1", ISO8859_1),
    alias(u"LATIN1", ISO8859_1),
    alias(u"L1", ISO8859_1),
    alias(u"IBM819", ISO8859_1),
    alias(u"CP819", ISO8859_1),
    alias(u"CSISOLATIN1", ISO8859_1),
    alias(u"8859_1", ISO8859_1),
    alias(u"ISO_8859-1:1978", ISO8859_1),
    alias(u"IBM-819", ISO8859_1),
    alias(u"819", ISO8859_1),
    primary(CP437),
    alias(u"IBM437", CP437),
    alias(u"437", CP437),
    alias(u"CSPC8CODEPAGE437", CP437),
    alias(u"IBM-437", CP437),
    primary(CP1252),
    alias(u"WINDOWS-1252", CP1252),
    primary(UTF8),
    alias(u"UTF8", UTF8),
    alias(u"UTF_8", UTF8),
    primary(UTF16LE),
    primary(UTF16BE),
    primary(UTF32BE),
    primary(UTF32LE),
    primary(AMP7),
    alias(u"A7", AMP7),
    {nullptr, 0, nullptr, nullptr, nullptr},
};
// clang-format on

} // namespace

std::span<const CodecRow> codecTable() {
    return {std::begin(Rows), std::end(Rows) - 1}; // without the row that ends it
}

} // namespace qx::text::charset
