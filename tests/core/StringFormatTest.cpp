#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include <qx/core/String.h>

using namespace qx;

namespace {

template <class... Arguments>
String printed(const char* pattern, Arguments... arguments) {
    char text[64];
    const int length = std::snprintf(text, sizeof(text), pattern, arguments...);
    return String(std::u16string(text, text + length));
}

String formatted(const char16_t* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    const String text = String::formatv(pattern, arguments);
    va_end(arguments);
    return text;
}

} // namespace

TEST(StringFormat, ReplacesNumberedPlaces) {
    EXPECT_EQ(String::format(u"{0} and {1}", u"a", u"b"), u"a and b");
    EXPECT_EQ(String::format(u"{1} and {0}", String(u"a"), std::u16string_view(u"b")), u"b and a");
    EXPECT_EQ(String::format(u"{0}{0}{0}", u"ab"), u"ababab");
    EXPECT_EQ(String::format(u"{1}", u"a", u"b"), u"{1}");           // 0 does not occur
    EXPECT_EQ(String::format(u"{0}{2}", u"a", u"b", u"c"), u"a{2}"); // nor does 1
    EXPECT_EQ(String::format(u"{0}{1}", u"{1}", u"{0}"), u"{1}{0}"); // not searched again
    EXPECT_EQ(String::format(u"{0}{1}", u"a"), u"a{1}");             // no argument
    EXPECT_EQ(String::format(u"{0"), u"{0");
    EXPECT_EQ(String::format(u"{{0}} {00} { 0}", u"a"), u"{a} {00} { 0}");
    EXPECT_EQ(String::format(u"", u"a"), u"");
    EXPECT_EQ(String::format(u"{0}", static_cast<const char16_t*>(nullptr)), u"");
    EXPECT_EQ(String::format(u"{0}{1}{2}{3}{4}{5}{6}{7}{8}{9}{10}{11}", u"a", u"b", u"c", u"d",
                             u"e", u"f", u"g", u"h", u"i", u"j", u"k", u"l"),
              u"abcdefghijkl");
    EXPECT_EQ(formatted(u"{1}-{0}-{1}", u"a", u"b"), u"b-a-b");
    EXPECT_EQ(formatted(u"no places"), u"no places");
}

TEST(StringFormat, IntegersPrintAsDecimal) {
    EXPECT_EQ(String::valueOf(0), u"0");
    const auto check = [](long long value) {
        EXPECT_EQ(String::valueOf(value), printed("%lld", value));
        EXPECT_EQ(String::valueOf(static_cast<unsigned long long>(value)),
                  printed("%llu", static_cast<unsigned long long>(value)));
        EXPECT_EQ(String::valueOf(static_cast<int>(value)), printed("%d", static_cast<int>(value)));
        EXPECT_EQ(String::valueOf(static_cast<unsigned>(value)),
                  printed("%u", static_cast<unsigned>(value)));
        EXPECT_EQ(String::valueOf(static_cast<long>(value)),
                  printed("%ld", static_cast<long>(value)));
        EXPECT_EQ(String::valueOf(static_cast<unsigned long>(value)),
                  printed("%lu", static_cast<unsigned long>(value)));
    };
    for (long long power = 1; power < LLONG_MAX / 10; power *= 10) {
        for (const long long near : {power - 1, power, power + 1}) {
            check(near);
            check(-near);
        }
    }
    for (const long long limit : {LLONG_MIN, LLONG_MAX, 0LL + INT_MIN, 0LL + INT_MAX, -1LL})
        check(limit);
    EXPECT_EQ(String(u"n=").append(-5).append(u' ').append(5u).append(7L).append(8LL).append(9ULL),
              u"n=-5 5789");
    EXPECT_EQ(String(u"b=").append(true).append(1.5), u"b=true1.5");
    EXPECT_EQ(String::valueOf(u'x'), u"x");
    EXPECT_EQ(String::valueOf(false), u"false");
}

TEST(StringFormat, FloatingPointPrintsAsPrintfDoesInTheCLocale) {
    const double values[] = {0.0,   -0.0,   999999.5,  1e6, 1e-4, 9.9999e-5,
                             1e100, 5e-324, -INFINITY, NAN, -NAN};
    for (const double value : values)
        EXPECT_EQ(String::valueOf(value), printed("%g", value)) << value;
    EXPECT_EQ(String::valueOf(0.1f), printed("%g", static_cast<double>(0.1f)));
    std::mt19937_64 random(1);
    for (int i = 0; i < 20'000; ++i) {
        const uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof(value));
        ASSERT_EQ(String::valueOf(value), printed("%g", value));
    }
}
