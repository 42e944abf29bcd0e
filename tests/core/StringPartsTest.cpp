#include <bit>
#include <climits>
#include <cmath>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/AnyText.h>
#include <qx/core/Exception.h>
#include <qx/core/String.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;

namespace {

/// A text of few different units, so that parts of it meet often.
std::u16string randomText(std::u16string_view alphabet, size_t longest) {
    static std::mt19937 random(3);
    std::u16string text(random() % (longest + 1), u'\0');
    for (char16_t& unit : text)
        unit = alphabet[random() % alphabet.size()];
    return text;
}

} // namespace

TEST(StringParts, SplitJoinAndReplaceFindTheSameSeparators) {
    for (int i = 0; i < 3'000; ++i) {
        const String text(randomText(u"ab,", 12)), with(randomText(u"a,", 3));
        const String separator(u',' + String(randomText(u"ab,", 1)));
        const auto parts = text.split(separator);
        ASSERT_EQ(String::join(separator, parts), text);
        ASSERT_EQ(String(text).replaceAll(separator, with), String::join(with, parts));
        const auto few = text.split(separator, 2);
        ASSERT_EQ(parts.size() > 1, text.contains(separator));
        ASSERT_EQ(few.size(), std::min<size_t>(parts.size(), 2));
        ASSERT_EQ(String::join(separator, few), text);
        ASSERT_EQ(few[0], text.substring(0, text.indexOf(separator)));
    }
    String text(u"a-b");
    EXPECT_EQ(text.replaceAll(TextView(text).substr(1, 1), text), u"aa-bb"); // its own text
    EXPECT_EQ(text.replaceAll(u"", u"x"), u"aa-bb");
    EXPECT_THROW(text.split(u""), RangeErrorException);
    EXPECT_EQ(String::join(u", ", {text, u"b"}), u"aa-bb, b");
    EXPECT_EQ(String::join(u"", std::vector<std::string>{"a", "\xC3\xA4"}), u"a\u00E4");
}

TEST(StringParts, NumbersAreTheWholeTextOrNone) {
    const struct {
        const char16_t* text;
        std::optional<int64_t> value;
        int32_t radix = 10;
    } cases[] = {
        // clang-format off
        {u"-0", 0}, {u"+12", 12}, {u"007", 7}, {u"-2147483648", INT_MIN}, {u"2147483648", 1LL << 31},
        {u"7F", 127, 16}, {u"-zZ", -1295, 36}, {u"9223372036854775807", LLONG_MAX},
        {u"", {}}, {u"-", {}}, {u"+-1", {}}, {u"--1", {}}, {u" 1", {}}, {u"1 ", {}}, {u"1.0", {}},
        {u"0x1", {}, 16}, {u"12", {}, 2}, {u"1\u0661", {}}, {u"9223372036854775808", {}},
        // clang-format on
    };
    for (const auto& [text, value, radix] : cases) {
        EXPECT_EQ(String(text).toInt64(radix), value) << String(text);
        const bool isSmall = value && *value >= INT_MIN && *value <= INT_MAX;
        EXPECT_EQ(String(text).toInt(radix).has_value(), isSmall);
    }
    EXPECT_EQ(String(u"1\0", 2).toInt(), std::nullopt);
    EXPECT_THROW(String(u"1").toInt(37), RangeErrorException);
    for (const auto* const text : {u"", u" 1", u"1 ", u"1e", u"x", u"-", u"1,5", u"1e999"})
        EXPECT_EQ(String(text).toDouble(), std::nullopt) << String(text);
    EXPECT_EQ(String(u"-.5e1").toDouble(), -5);
    EXPECT_EQ(String(u"-inf").toDouble(), -INFINITY);
    EXPECT_EQ(String(u"1e-999").toDouble(), 0);

    EXPECT_EQ(qxtest::descriptionOf([] { String(u"12x").toIntOrThrow(); }),
              "not a whole number of 32 bits: \"12x\"");
    EXPECT_EQ(qxtest::descriptionOf([] { String(u"1e999").toDoubleOrThrow(); }),
              "too large for a number: \"1e999\"");
}

TEST(StringParts, TheShortestDigitsReadBack) {
    std::mt19937_64 random(5);
    for (int i = 0; i < 5'000; ++i) {
        const auto value = std::bit_cast<double>(random());
        const auto single = std::bit_cast<float>(static_cast<uint32_t>(random()));
        if (std::isnan(value) || std::isnan(single))
            continue;
        const String text = String::valueOf(single, String::SHORTEST);
        ASSERT_EQ(static_cast<float>(text.toDoubleOrThrow()), single);
        ASSERT_EQ(String::valueOf(value, String::SHORTEST).toDoubleOrThrow(), value);
    }
    for (const auto* const text :
         {u"0.1", u"100000", u"1000000000000000", u"1e+16", u"0.0001", u"1e-05", u"-0"})
        EXPECT_EQ(String::valueOf(String(text).toDoubleOrThrow(), String::SHORTEST), text);
    EXPECT_EQ(String::valueOf(2.0 / 3, 3), u"0.667");
    EXPECT_EQ(String::valueOf(-5e-324, 100).getLength(), 107);
    EXPECT_THROW(String::valueOf(1.0, 101), RangeErrorException);
}

TEST(StringParts, CodePointsAndWellFormedTextAgreeWithUtf8) {
    for (int i = 0; i < 3'000; ++i) {
        const String text(randomText(u"a\xD83D\xDE00\uFFFF", 7));
        String copy;
        bool hasHalf = false;
        for (const char32_t point : text.codePoints()) {
            copy.append(point);
            hasHalf |= point == 0xD83D || point == 0xDE00;
        }
        ASSERT_EQ(copy, text);
        ASSERT_EQ(text.isWellFormed(), !hasHalf);
        ASSERT_EQ(String(text).toWellFormed(), String::fromUtf8(text.toUtf8()));
    }
    EXPECT_THROW(String().append(char32_t{0x110000}), RangeErrorException);
}

TEST(StringParts, Utf8IsDecodedAndNamedWhereItIsMalformed) {
    for (const size_t length : {0u, 58u, 59u, 61u, 62u, 64u, 1000u}) { // around the room inside
        const std::string ascii(length, 'x');
        const std::string utf8 = ascii + "\xC3\xA4\xF0\x9F\x98\x80";
        const std::u16string units = std::u16string(length, u'x') + u"\u00E4\U0001F600";
        EXPECT_EQ((String(u"<") += utf8) + ">", u'<' + String(units) + u'>');
        const AnyText narrow(utf8), wide(std::u16string_view(units).substr(1)), plain(ascii);
        EXPECT_EQ(narrow.view(), units);
        EXPECT_EQ(std::u16string_view(narrow.terminated()), units);
        EXPECT_EQ(std::u16string_view(wide.terminated()), units.substr(1));
        EXPECT_EQ(std::u16string_view(plain.terminated()), units.substr(0, length));
        const std::string place = "malformed UTF-8 at byte " + std::to_string(length) + ": \"";
        String text(u"kept");
        for (const auto& message : {qxtest::descriptionOf([&] { String(ascii + "\xE4z"); }),
                                    qxtest::descriptionOf([&] { AnyText(ascii + "\xC3"); }),
                                    qxtest::descriptionOf([&] { text += ascii + "\xED\xA0\x80"; })})
            EXPECT_TRUE(message.starts_with(place)) << message;
        EXPECT_EQ(text, u"kept");
    }
    EXPECT_EQ(qxtest::descriptionOf([] { String(std::string_view("a\xFF")); }),
              "malformed UTF-8 at byte 1: \"a\\xFF\"");
    EXPECT_THROW(AnyText(std::string_view("a\0b", 3)).terminated(), ResultException);
    String text(u"\u00E4b");
    EXPECT_EQ(text.append(reinterpret_cast<const char*>(text.getBytes(u"UTF-8"))),
              u"\u00E4b\u00E4b");

    const int64_t before = qxtest::allocationCount();
    const AnyText few("few enough"), any(text), view(u"of any length: UTF-16 is read where it is");
    EXPECT_EQ(qxtest::allocationCount(), before);
    EXPECT_EQ(any.view().data(), text.getData());
}
