// The codecs as programs meet them: by the name of an encoding, once their module is registered.

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/platform/module.h>
#include <qx/platform/text.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/encinfo.h>
#include <qx/util/SystemName.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/SafeModule.h"
#include "tests/support/TemporaryRegistry.h"
#include "tests/support/TestLocale.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;

/// The module registered in a registry of its own.
class RegisteredCodecs : public testing::Test {
protected:
    RegisteredCodecs() { EXPECT_EQ(QXComRegisterModule(path.getData()), 0); }
    ~RegisteredCodecs() override {
        int32_t kept = -1;
        EXPECT_EQ(QXComFreeUnusedModules(0, &kept), 0);
        EXPECT_EQ(kept, 0) << "a codec is left over";
    }

    const String path{qxtest::safeModule(QX_TEST_MODULE_DIR "/qxcodecs.so").c_str()};
    qxtest::TemporaryRegistry registry;
};

TEST_F(RegisteredCodecs, ServeEveryEncodingOfTheTable) {
    uint32_t count = 0;
    QXEnumerateEncInfo(&count, nullptr);
    std::vector<QXEncodingInfo> records(count);
    ASSERT_EQ(QXEnumerateEncInfo(&count, records.data()), 0);
    for (const QXEncodingInfo& record : records) {
        const Reference<ByteToCharConverter> decoder =
            ByteToCharConverter::getConverter(record.name);
        EXPECT_EQ(decoder->getEncodingName(), String(record.name));
        const Reference<CharToByteConverter> encoder =
            CharToByteConverter::getConverter(record.name);
        EXPECT_EQ(encoder->getEncodingName(), String(record.name));
    }
}

TEST_F(RegisteredCodecs, AreFoundByEveryNameAndCodePage) {
    const struct {
        const char16_t* name;
        const char16_t* canonical;
    } rows[] = {{u"cp932", u"CP932"}, {u"windows-31j", u"CP932"}, {u"20932", u"EUCJP"}};
    for (const auto& row : rows) {
        const Reference<CharToByteConverter> encoder = CharToByteConverter::getConverter(row.name);
        EXPECT_EQ(encoder->getEncodingName(), String(row.canonical));
    }
}

TEST_F(RegisteredCodecs, ServeTheCodeSetOfALocale) {
    const qxtest::TestLocale japanese("ja_JP", "EUC-JP");
    if (!japanese.isSet())
        GTEST_SKIP() << "the system cannot make the locale";
    const String text(u"a日本語");
    const char bytes[] = "a\xC6\xFC\xCB\xDC\xB8\xEC";
    EXPECT_EQ(String(bytes), text);
    EXPECT_EQ(util::fromSystemName(bytes), text);
    EXPECT_EQ(util::toSystemName(text), bytes);
    qxtest::expectThrowsResult(result::UnmappableCharacter, [] { util::toSystemName(u"a😀"_qs); });
    char cut[5];
    EXPECT_EQ(QXUnicodeToAnsi(text.getData(), -1, cut, sizeof cut), result::BufferTooSmall);
    EXPECT_STREQ(cut, "a\xC6\xFC");
}

TEST_F(RegisteredCodecs, ServeStringsAndReadersUntilTheModuleIsUnregistered) {
    const char bytes[] = "\x93\xFA\x96{\x8C\xEA!";
    const String text(u"日本語!");
    EXPECT_EQ(String(bytes, -1, u"CP932"), text);
    EXPECT_STREQ(reinterpret_cast<const char*>(text.getBytes(u"CP932")), bytes);

    io::ByteArrayInputStream source(reinterpret_cast<const signed char*>(bytes),
                                    static_cast<int32_t>(sizeof bytes - 1));
    io::InputStreamReader reader(&source, u"cp932");
    char16_t units[8];
    ASSERT_EQ(reader.read(units, 8), 4);
    EXPECT_EQ(std::u16string_view(units, 4), text.view());

    EXPECT_EQ(QXComUnregisterModule(path.getData()), 0);
    EXPECT_THROW(String(bytes, -1, u"CP932"), UnknownEncodingException);
    EXPECT_EQ(CodecManager::getInstance()->getEncoder(u"MS932"), nullptr);
}

// Whatever in there decodes a narrow text asks for the encoding that it is about to make.
TEST_F(RegisteredCodecs, ServeTheEncodingOfTheLocale) {
    const struct {
        const char* language;
        const char* codeSet;
        const char* bytes;
        const char16_t* text;
    } rows[] = {{"ja_JP", "EUC-JP", "\xC6\xFC\xCB\xDC!", u"日本!"},
                {"bg_BG", "CP1251", "\xC4\xE0!", u"Да!"}};
    for (const auto& row : rows) {
        const qxtest::TestLocale locale(row.language, row.codeSet);
        ASSERT_TRUE(locale.isSet());
        {
            std::vector<std::jthread> threads; // each may be the first that needs the tables
            for (int i = 0; i < 8; ++i)
                threads.emplace_back([&] { EXPECT_EQ(String(row.bytes), String(row.text)); });
        }
        EXPECT_STREQ(reinterpret_cast<const char*>(String(row.text).getBytes()), row.bytes);
        EXPECT_EQ(QXComRegisterModule(path.getData()), 0);
    }
}

} // namespace
