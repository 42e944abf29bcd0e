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

#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;

Reference<ByteToCharConverter> decoder(const char16_t* name) {
    return ByteToCharConverter::getConverter(name);
}

Reference<CharToByteConverter> encoder(const char16_t* name) {
    return CharToByteConverter::getConverter(name);
}

TEST(CodecManager, GivesBothConvertersOfEveryName) {
    const char16_t* primary = nullptr;
    for (const CodecRow& row : codecTable()) {
        if (!row.canonicalName)
            primary = row.name; // its aliases stand behind it
        EXPECT_EQ(decoder(row.name)->getEncodingName(), std::u16string_view(primary));
        EXPECT_EQ(encoder(row.name)->getEncodingName(), std::u16string_view(primary));
    }
}

TEST(CodecManager, ConvertersReportTheFactorsThatBuffersAreSizedBy) {
    constexpr auto factorsOf = [](const auto& converter) {
        return converter->getMaxBytesPerChar() * 10 + converter->getMaxCharsPerByte();
    };
    const struct {
        const char16_t* name;
        int decoder, encoder; // bytes per character, characters per byte
    } cases[] = {
        {u"UTF-8", 64, 61},    {u"UTF-16LE", 44, 44}, {u"UTF-16BE", 44, 44},  {u"UTF-32LE", 44, 44},
        {u"UTF-32BE", 44, 44}, {u"ASCII", 11, 11},    {u"ISO8859_1", 11, 11}, {u"CP437", 11, 11},
        {u"CP1252", 11, 11},   {u"AMP-7", 81, 81},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(factorsOf(decoder(c.name)), c.decoder);
        EXPECT_EQ(factorsOf(encoder(c.name)), c.encoder);
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
        qxtest::expectThrows<UnknownEncodingException>(name, [&] { decoder(name); });
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
