#include <climits>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Integer.h>
#include <qx/core/Reference.h>
#include <qx/core/Str1.h>
#include <qx/core/String.h>
#include <qx/text/charset/EncodingException.h>

using namespace qx;

namespace {

struct Named {
    String toString() const { return String(u"named"); }
};

} // namespace

TEST(Format, ShowsWhateverHasAText) {
    const auto number = makeReference<Integer32>(-7);
    const Reference<Integer32> none;
    const Object* const object = number;
    const char* const missing = nullptr;
    const std::pair<String, std::string> cases[] = {
        {String::format(u"{0} of {1}", 3, u"ten"), "3 of ten"},
        {String::format(u"{1}{0}{1}", true, 1.5f), "1.5true1.5"},
        {String::format(u"{0} {1} {2}", short{-3}, uint8_t{200}, ULLONG_MAX),
         "-3 200 18446744073709551615"},
        {String::format(u"{0} {1} {2}", LLONG_MIN, 1e100, 0.1), "-9223372036854775808 1e+100 0.1"},
        {String::format(u"{0}{1}", u'x', U'\U0001F600'), "x\xF0\x9F\x98\x80"},
        {String::format(u"{0} {1} {2} {3}", "na\xC3\xAFve", std::string(100, 'y'),
                        std::string_view("z\0", 1), u8"\u00e4"),
         ("na\xC3\xAFve " + std::string(100, 'y') + " z \xC3\xA4")},
        {String::format(u"[{0}{1}]", missing, 0), "[0]"},
        {String::format(u"{0} {1} {2}", std::u16string(u"a"), Str1(), 1), "a  1"},
        {String::format(u"{0} {1} {2} {3}", number, object, *number, none), "-7 -7 -7 null"},
        {String::format(u"{0} {1}", Named(), std::make_unique<Named>()), "named named"},
        {String::format(u"{0}", ResultException(result::NotFound, u"x"_qs)),
         describe(ResultException(result::NotFound, u"x"_qs)).toUtf8()},
        {String::format(u"{{{0}}} }}{{", 5), "{5} }{"},
        {String::format(u"{10}", 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10), "10"},
        {String::format(u"{0:5}|{0:<5}|{0:05}|{0:1}", -42), "  -42|-42  |-0042|-42"},
        {String::format(u"{0:4}|{0:>4}|{1:6}", "ab", true), "ab  |  ab|true  "},
        {String::format(u"{0:x} {0:X} {0:08x} {1:x}", 0xBEEFu, -255), "beef BEEF 0000beef -ff"},
        {String::format(u"{0:.2f}|{0:9.1f}|{0:.3}|{0:.0f}|{0:010.3e}", 1234.5678),
         "1234.57|   1234.6|1.23e+03|1235|01.235e+03"},
        {String::format(u"{0:06}|{1:6}", -INFINITY, NAN), "  -inf|   nan"},
        {String::formatValues(u"{1}", {u"a", u"b"}), "b"}, // where format would count from 0
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text.toUtf8(), expected);
}

TEST(Format, DigitsAreThoseOfTheCLibrary) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 2'000; ++i) {
        const auto integer = static_cast<long long>(random()) >> (random() % 64);
        const double real =
            std::ldexp(static_cast<double>(integer), static_cast<int>(random() % 90) - 45);
        char text[512];
        std::snprintf(text, sizeof text, "%012lld %18.3f %-14.4e| %llx %.9g", integer, real, real,
                      static_cast<unsigned long long>(integer), real);
        ASSERT_EQ(String::format(u"{0:012} {1:18.3f} {1:<14.4e}| {2:x} {1:.9}", integer, real,
                                 static_cast<uint64_t>(integer))
                      .toUtf8(),
                  text);
    }
}

TEST(Format, WhatCannotBeMeantNamesThePatternAndThePlace) {
    const std::pair<const char16_t*, const char*> cases[] = {
        {u"{0} of {2}", "at position 7: there is no argument 2"},
        {u"{99999999999}", "at position 0: there is no argument 4294967295"},
        {u"{} of {}", "at position 1: the number of an argument expected"},
        {u"{0", "at position 2: \"}\" expected"},
        {u"{0:5xx}", "at position 5: \"}\" expected"},
        {u"a}b", "at position 1: a single \"}\""},
        {u"{0:d}", "at position 3: neither"},
        {u"{0:10001}", "at position 3: more units than 10000"},
        {u"{1:.}", "at position 4: the number of digits expected"},
        {u"{1:.101}", "at position 4: more digits than 100"},
        {u"{0:.2}", "at position 0: only a float or a double"},
        {u"{0:f}", "at position 0: the argument is an integer"},
        {u"{1:x}", "at position 0: the argument is no integer"},
    };
    for (const auto& [pattern, why] : cases) {
        try {
            ADD_FAILURE() << String::format(pattern, 1, 2.5);
        } catch (const Exception& exception) {
            const String message = u"bad format pattern \"" + String(pattern) + u"\" " + why;
            EXPECT_TRUE(exception.getDescription().startsWith(message)) << message;
        }
    }
    EXPECT_THROW(String::format(u"{0:05}", "text"), Exception);
    EXPECT_THROW(String::format(u"{0:x}", true), Exception);
    EXPECT_THROW(String::format(u"{0}", "\xFF"), text::charset::InvalidCharacterException);
}
