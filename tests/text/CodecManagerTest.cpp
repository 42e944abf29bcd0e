#include <string>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/CodecTable.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/UTF16.h>
#include <qx/text/charset/UTF32.h>
#include <qx/text/charset/UTF8.h>

namespace {

using namespace qx;
using namespace qx::text::charset;

Reference<ByteToCharConverter> decoder(const char16_t* name) {
    return ByteToCharConverter::getConverter(name);
}

Reference<CharToByteConverter> encoder(const char16_t* name) {
    return CharToByteConverter::getConverter(name);
}

TEST(CodecTable, HoldsEveryPrimaryNameInFrontOfItsAliases) {
    const auto rows = codecTable();
    EXPECT_EQ(rows.size(), 45u);
    std::u16string primaries;
    const char16_t* primary = nullptr;
    for (const CodecRow& row : rows) {
        if (row.canonicalName) {
            EXPECT_EQ(std::u16string_view(row.canonicalName), primary);
        } else {
            primary = row.name;
            primaries += std::u16string(row.name) + u' ';
        }
    }
    EXPECT_EQ(primaries,
              u"ASCII ISO8859_1 CP437 CP1252 UTF-8 UTF-16LE UTF-16BE UTF-32BE UTF-32LE AMP-7 ");
}

TEST(CodecManager, GivesBothConvertersOfEveryName) {
    for (const CodecRow& row : codecTable()) {
        const std::u16string_view canonical = row.canonicalName ? row.canonicalName : row.name;
        EXPECT_EQ(decoder(row.name)->getEncodingName(), canonical);
        EXPECT_EQ(encoder(row.name)->getEncodingName(), canonical);
    }
}

TEST(CodecManager, ConvertersReportTheFactorsThatBuffersAreSizedBy) {
    struct Factors {
        int32_t bytesPerChar;
        int32_t charsPerByte;
        bool operator==(const Factors&) const = default;
    };
    constexpr auto factorsOf = [](const auto& converter) {
        return Factors{converter.getMaxBytesPerChar(), converter.getMaxCharsPerByte()};
    };
    const struct {
        const char16_t* name;
        Factors decoder;
        Factors encoder;
    } cases[] = {
        {u"UTF-8", {6, 4}, {6, 1}},     {u"UTF-16LE", {4, 4}, {4, 4}},
        {u"UTF-16BE", {4, 4}, {4, 4}},  {u"UTF-32LE", {4, 4}, {4, 4}},
        {u"UTF-32BE", {4, 4}, {4, 4}},  {u"ASCII", {1, 1}, {1, 1}},
        {u"ISO8859_1", {1, 1}, {1, 1}}, {u"CP437", {1, 1}, {1, 1}},
        {u"CP1252", {1, 1}, {1, 1}},    {u"AMP-7", {8, 1}, {8, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_TRUE(factorsOf(*decoder(c.name)) == c.decoder);
        EXPECT_TRUE(factorsOf(*encoder(c.name)) == c.encoder);
    }
}

TEST(CodecManager, FindsNamesInAnyLetterCase) {
    for (const char16_t* name : {u"utf-8", u"UTF8", u"utf_8", u"Utf-8"})
        EXPECT_TRUE(dynamic_cast<BTCUTF8*>(decoder(name).get()));
    EXPECT_TRUE(dynamic_cast<BTCISO8859_1*>(decoder(u"latin1").get()));
    EXPECT_TRUE(dynamic_cast<CTBCP1252*>(encoder(u"windows-1252").get()));
    EXPECT_TRUE(dynamic_cast<CTBASCII*>(encoder(u"ibm367").get()));
    EXPECT_TRUE(dynamic_cast<BTCUTF32BE*>(decoder(u"utf-32be").get()));
    EXPECT_TRUE(dynamic_cast<BTCAMP7*>(decoder(u"a7").get()));
}

TEST(CodecManager, GivesANewConverterEachTimeForTheCallerToOwn) {
    Object* const first = CodecManager::getInstance()->getDecoder(u"CP437");
    EXPECT_EQ(first->GetRefCount(), 0u);
    const Reference<Object> owner(first);
    ByteToCharConverter* const second = ByteToCharConverter::getConverter(u"CP437");
    EXPECT_EQ(second->GetRefCount(), 0u);
    EXPECT_NE(Reference<Object>(second).get(), first);
}

TEST(CodecManager, AnswersNullForAnUnknownNameAndConvertersThrowIt) {
    // "CP850" has a record of its own, but nobody provides a converter.
    for (const char16_t* name : {u"no such encoding", u"", u"CP850", u"MS932"}) {
        EXPECT_EQ(CodecManager::getInstance()->getDecoder(name), nullptr);
        EXPECT_EQ(CodecManager::getInstance()->getEncoder(name), nullptr);
        try {
            decoder(name);
            FAIL();
        } catch (const UnknownEncodingException& e) {
            EXPECT_EQ(e.getDescription(), name);
            EXPECT_EQ(e.getResult(), result::UnknownEncoding);
        }
        EXPECT_THROW(encoder(name), UnknownEncodingException);
    }
}

TEST(CodecManager, KeepsTheFirstRegistrationOfAName) {
    CodecManager* const manager = CodecManager::getInstance();
    manager->registerCodec(u"utf-8", u"qx::text::charset::CTBASCII", u"no such class");
    EXPECT_TRUE(dynamic_cast<CTBUTF8*>(encoder(u"UTF-8").get()));
    EXPECT_THROW(manager->registerCodec(u"half a codec", u"qx::text::charset::CTBASCII", u"none"),
                 ClassNotFoundException);
    EXPECT_EQ(manager->getEncoder(u"half a codec"), nullptr);
}

TEST(CodecManager, GivesTheDefaultConverterForNull) {
    EXPECT_EQ(std::u16string_view(decoder(nullptr)->getEncodingName()),
              std::u16string_view(
                  Reference<ByteToCharConverter>(ByteToCharConverter::getDefaultConverter())
                      ->getEncodingName()));
}

} // namespace
