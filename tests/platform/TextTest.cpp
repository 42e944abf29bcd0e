#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

#include <qx/platform/text.h>

// The kernels are compared at both vector widths, whichever the library chooses here.
#include "qx/platform/detail/CaseKernel.h"

#include "tests/support/ExpectResult.h"
#include "tests/support/TestLocale.h"

using namespace qx;
using namespace qx::platform;
using namespace qxtest;
using namespace std::string_literals;

namespace {

std::u16string wide(const std::string& text) { return {text.begin(), text.end()}; }

TEST(CText, IsTreatedAsTheFunctionsOfCTreatBytes) {
    std::minstd_rand random(3);
    const auto text = [&random](size_t most) {
        std::string units(random() % (most + 1), 0);
        std::ranges::generate(units, [&] { return "ab,;"[random() % 4]; });
        return units;
    };
    for (int i = 0; i < 2000; ++i) {
        std::string left = text(6), right = text(6), copy(8, '#');
        const std::string delimiters = text(2);
        std::u16string units = wide(left), unitsCopy = wide(copy);
        EXPECT_EQ(QXStrLenW_32(units.c_str()), std::ssize(left));
        for (const char unit : {'a', '\0', 'x'}) {
            const char* const plain = std::strchr(left.c_str(), unit);
            const char16_t* const found = QXStrChrW(units.data(), static_cast<char16_t>(unit));
            EXPECT_EQ(found ? found - units.data() : -1, plain ? plain - left.c_str() : -1);
        }
        EXPECT_EQ(QXStrCmpW(units.c_str(), wide(right).c_str()) <=> 0, left <=> right);
        const auto count = static_cast<int32_t>(random() % 8);
        std::strncpy(copy.data(), left.c_str(), static_cast<size_t>(count));
        EXPECT_EQ(QXStrNCpyW(unitsCopy.data(), units.c_str(), count), unitsCopy.data());
        EXPECT_EQ(unitsCopy, wide(copy)); // padded, and perhaps without a terminator
        EXPECT_EQ(QXStrCpyW(unitsCopy.data(), units.c_str()), wide(left.c_str()));
        char* rest = nullptr;
        char16_t* restOfUnits = nullptr;
        char* plain = strtok_r(left.data(), delimiters.c_str(), &rest);
        char16_t* token = QXStrTokW(units.data(), wide(delimiters).c_str(), &restOfUnits);
        for (int more = 0; more < 6; ++more) { // past the end, by other delimiters
            EXPECT_EQ(std::u16string(token ? token : u"-"), wide(plain ? plain : "-"));
            plain = strtok_r(nullptr, ",", &rest);
            token = QXStrTokW(nullptr, u",", &restOfUnits);
        }
    }
    EXPECT_GT(QXStrCmpW(u"\uE000", u"😀"), 0); // by unit, not by code point
    EXPECT_GT(QXStrCmpW(u"\uFFFD", u"a"), 0); // unsigned
}

/// Pieces of numbers in all forms, as they come.
std::string randomText(std::minstd_rand& random) {
    static const std::vector<std::string> pieces = [] {
        std::istringstream all("0,1,7,08,35,9,0x,0X,a,F,g,G,zZ,x,/,:,@,[,`,{,+,-,., ,\t\r\n\v\f,"
                               "e,E-,p,P-,inf,INITY,NaN,1e308,1e309,1e-400,0x1p1024,0x1p-1074,"
                               "e999999999999999999999,e-99999,.0000,9223372036854775807,"
                               "9223372036854775808,9223372036854775809,18446744073709551616,"
                               "9007199254740993,4.9406564584124654e-324,2.2250738585072011e-308");
        std::vector<std::string> split;
        for (std::string piece; std::getline(all, piece, ',');)
            split.push_back(piece);
        return split;
    }();
    std::string text;
    for (size_t left = random() % 6; left > 0; --left)
        text += pieces[random() % pieces.size()];
    return text;
}

TEST(IntegerText, ReadsLikeStrtolAndPrintsInUpperCase) {
    std::minstd_rand random(1);
    for (int i = 0; i < 50'000; ++i) {
        const std::string text = randomText(random);
        for (const int32_t radix : {0, 2, 8, 10, 16, 35, 36}) {
            SCOPED_TRACE(testing::Message() << '"' << text << "\" by " << radix);
            char* plainEnd = nullptr;
            const int64_t value = std::strtoll(text.c_str(), &plainEnd, radix);
            const std::u16string units = wide(text) + u'\u0661'; // a digit, but none of ours
            char16_t* end = nullptr;
            ASSERT_EQ(QXStrToLW(units.c_str(), &end, radix), value);
            ASSERT_EQ(end - units.c_str(), plainEnd - text.c_str());
            char16_t printed[66];
            char buffer[66];
            const std::string narrow = QXLToStrA(value, buffer, radix);
            ASSERT_EQ(QXLToStrW(value, printed, radix), wide(narrow));
            ASSERT_EQ(QXStrToLW(printed, nullptr, radix), radix == 0 ? 0 : value);
            ASSERT_TRUE(std::ranges::none_of(narrow, [](char digit) { return digit >= 'a'; }));
        }
    }
    EXPECT_EQ(QXStrToLW(u"\u00A01", nullptr, 10), 0); // no white space of ours
    for (const int32_t noRadix : {1, 37, -10}) {
        const char16_t text[] = u"7";
        char16_t* end = nullptr;
        EXPECT_EQ(QXStrToLW(text, &end, noRadix), 0);
        EXPECT_EQ(end, text);
        char16_t buffer[66] = u"x";
        EXPECT_EQ(*QXLToStrW(5, buffer, noRadix), 0);
    }
}

void expectReadLikeStrtod(const std::string& text) {
    SCOPED_TRACE(text.substr(0, 60));
    char* plainEnd = nullptr;
    const double expected = std::strtod(text.c_str(), &plainEnd);
    const std::u16string units = wide(text);
    char16_t* end = nullptr;
    const double value = QXStrToDW(units.c_str(), &end);
    if (!std::isnan(expected)) {
        EXPECT_EQ(value, expected);
        EXPECT_EQ(std::signbit(value), std::signbit(expected));
    } else {
        EXPECT_TRUE(std::isnan(value));
    }
    EXPECT_EQ(end - units.c_str(), plainEnd - text.c_str());
}

TEST(RealText, ReadsLikeStrtod) {
    std::minstd_rand random(2);
    for (int i = 0; i < 100'000 && !testing::Test::HasFailure(); ++i)
        expectReadLikeStrtod(randomText(random));
    const std::string zeros(2000, '0');
    expectReadLikeStrtod("9007199254740993." + zeros + "1"); // just above halfway
    expectReadLikeStrtod("0." + zeros + "1e2001");
    expectReadLikeStrtod("1" + zeros + "e-2000");
    expectReadLikeStrtod(zeros + "7");
    expectReadLikeStrtod("0x1" + zeros + "p-8000");
    expectReadLikeStrtod(std::string(400, '9'));
    EXPECT_EQ(QXStrToDW(u"\u0130nf", nullptr), 0); // a letter that is "i" in lower case
}

std::u16string nameBy(int32_t (*get)(char16_t*, int32_t)) {
    char16_t name[40];
    EXPECT_EQ(get(name, 40), result::Ok);
    return name;
}

std::pair<int32_t, std::string> narrow(const std::u16string& text, int32_t capacity = 64) {
    std::string buffer(static_cast<size_t>(capacity) + 1, '#');
    const int32_t result =
        QXUnicodeToAnsi(text.data(), static_cast<int32_t>(text.size()), buffer.data(), capacity);
    EXPECT_EQ(buffer[static_cast<size_t>(capacity)], '#') << "written beyond the capacity";
    return {result, buffer.c_str()};
}

TEST(DefaultLocale, NamesTheLanguageAndCodeSet) {
    for (const char* const plain : {"C", "POSIX", "C.UTF-8"}) {
        const TestLocale locale(plain);
        ASSERT_TRUE(locale.isSet());
        EXPECT_EQ(nameBy(QXGetDefaultCharEncoding), u"UTF-8") << plain;
        EXPECT_EQ(nameBy(QXGetDefaultLocale), u"en_US") << plain;
        char16_t name[6] = u"#####";
        EXPECT_EQ(QXGetDefaultLocale(name, 5), result::BufferTooSmall);
        EXPECT_EQ(name[0], 0);
        EXPECT_EQ(QXGetDefaultLocale(name, 6), result::Ok);
        EXPECT_EQ(QXGetDefaultLocale(name, 0), result::BufferTooSmall);
    }
    EXPECT_EQ(QXGetDefaultCharEncoding(nullptr, 40), result::NullPointer);
    const TestLocale german("de_DE", "ISO-8859-1");
    if (!german.isSet())
        GTEST_SKIP() << "the system cannot make the locale";
    EXPECT_EQ(nameBy(QXGetDefaultCharEncoding), u"ISO-8859-1");
    EXPECT_EQ(nameBy(QXGetDefaultLocale), u"de_DE");
    EXPECT_EQ(narrow(u"\u0080ä").second, "\x80\xE4");
    EXPECT_EQ(narrow(u"n\u0100"), std::pair(result::UnmappableCharacter, "n"s));
    EXPECT_EQ(narrow(u"abc", 3), std::pair(result::BufferTooSmall, "ab"s));
    EXPECT_EQ(qx::String("ä").getLength(), 2);
    const TestLocale other("ta_IN", "TSCII"); // which no codec serves
    if (other.isSet()) {
        EXPECT_EQ(nameBy(QXGetDefaultCharEncoding), u"UTF-8");
        EXPECT_EQ(nameBy(QXGetMissingCharEncoding), u"TSCII");
        EXPECT_EQ(narrow(u"n\u0100").second, "n\u0100");
    }
}

TEST(UnicodeToAnsi, WritesUtf8AndKeepsWholeCharactersWhenTheBufferIsShort) {
    const TestLocale utf8("C.UTF-8");
    ASSERT_TRUE(utf8.isSet());
    const std::u16string text = u"a\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF";
    const std::string bytes = "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                              "\xF4\x8F\xBF\xBF";
    for (int32_t capacity = 1; capacity <= std::ssize(bytes) + 2; ++capacity) {
        auto end = std::min(static_cast<size_t>(capacity) - 1, bytes.size());
        const int32_t code = end == bytes.size() ? result::Ok : result::BufferTooSmall;
        while ((bytes[end] & 0xC0) == 0x80) // amid a character
            --end;
        EXPECT_EQ(narrow(text, capacity), std::pair(code, bytes.substr(0, end))) << capacity;
    }
    char buffer[3] = "#";
    EXPECT_EQ(QXUnicodeToAnsi(u"", 0, buffer, 0), result::BufferTooSmall);
    EXPECT_EQ(QXUnicodeToAnsi(u"", -2, buffer, 1), result::InvalidArgument);
    EXPECT_STREQ(buffer, "#");
    EXPECT_EQ(QXUnicodeToAnsi(u"ab", -1, buffer, 3), result::Ok);
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(QXUnicodeToAnsi(u"a", 1, nullptr, 1), result::NullPointer);
    for (const char16_t* const lone : {u"ok\xD800", u"ok\xDC00", u"ok\xDFFF\xD800", u"ok\xDBFFz"})
        EXPECT_EQ(narrow(lone), std::pair(result::UnmappableCharacter, "ok"s));
}

TEST(CaseMapping, MapsEveryUnitAsTheUnicodeDataSays) {
    std::vector<char16_t> upper(0x10000), lower(0x10000);
    for (size_t unit = 0; unit < 0x10000; ++unit)
        upper[unit] = lower[unit] = static_cast<char16_t>(unit);
    const auto root = std::filesystem::path(QX_TEST_DATA_DIR).parent_path().parent_path();
    std::ifstream data(root / "tools/gen/data/simple-case-mapping.txt");
    int mappings = 0;
    for (std::string line; std::getline(data, line);) {
        char* end =
            nullptr; // of a field: the unit, that in upper and that in lower case, or nothing
        const auto unit = std::strtoul(line.c_str(), &end, 16);
        for (auto* map : {&upper, &lower}) {
            const char* const digits = *end == ';' ? end + 1 : end;
            if (const auto mapped = std::strtoul(digits, &end, 16); mapped != 0) {
                (*map)[unit] = static_cast<char16_t>(mapped);
                ++mappings;
            }
        }
    }
    ASSERT_GT(mappings, 2000);
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        ASSERT_EQ(QXToUpperW(static_cast<char16_t>(unit)), upper[unit]) << std::hex << unit;
        ASSERT_EQ(QXToLowerW(static_cast<char16_t>(unit)), lower[unit]) << std::hex << unit;
    }
}

/// Text of every kind that the wide path tells apart: ASCII in both cases and around the letters,
/// other letters alone and in runs.
std::u16string sample(size_t length, unsigned seed) {
    constexpr char16_t Ascii[] = u"azAZ@[`{09 \x7F";
    constexpr char16_t Others[] = u"\x80äÄßÿЖж\uFF21😀中\u0130\uFFFF";
    std::u16string text;
    while (text.size() < length) {
        seed = seed * 1664525 + 1013904223;
        const unsigned roll = seed >> 16;
        const size_t run = roll % 16 == 0 ? roll / 16 % 40 : 0;
        text += Ascii[roll % (std::size(Ascii) - 1)];
        for (size_t j = 0; j < run; ++j)
            text += Others[(roll / 7 + j) % (std::size(Others) - 1)];
    }
    text.resize(length);
    return text;
}

std::u16string mapped(std::u16string text, auto map) {
    for (char16_t& unit : text)
        unit = map(unit);
    return text;
}

TEST(CaseMapping, MapsCountedTextOfEveryLengthAndAlignmentAsUnitByUnit) {
    for (size_t length = 0; length <= 200; ++length) {
        for (size_t offset = 0; offset < 16; ++offset) {
            const auto whole =
                sample(offset + length + 8, static_cast<unsigned>(length * 16 + offset));
            const auto expectMapped = [&](auto plain, auto map) {
                std::u16string changed = whole, expected = whole;
                map(changed.data() + offset, length);
                // What stands around the text is left alone.
                expected.replace(offset, length, mapped(whole.substr(offset, length), plain));
                ASSERT_EQ(changed, expected) << "length " << length << " offset " << offset;
            };
            const auto n = static_cast<int32_t>(length);
            expectMapped(QXToUpperW, [n](auto* at, size_t) { QXTextToUpperW(at, n); });
            expectMapped(QXToLowerW, [n](auto* at, size_t) { QXTextToLowerW(at, n); });
            expectMapped(QXToUpperW, [](auto* at, size_t size) {
                mapCase<CaseTarget::Upper, 16>(at, size, &QXToUpperW);
            });
            expectMapped(QXToLowerW, [](auto* at, size_t size) {
                mapCase<CaseTarget::Lower, 32>(at, size, &QXToLowerW);
            });
        }
    }
}

int compareUnitByUnit(const char16_t* left, const char16_t* right, size_t count,
                      bool endsAtZero = true) {
    for (size_t i = 0; i < count; ++i) {
        const int l = QXToLowerW(left[i]), r = QXToLowerW(right[i]);
        if (l != r || (endsAtZero && l == 0))
            return (l > r) - (l < r);
    }
    return 0;
}

/// The end of memory behind which nothing can be read, for as long as the program runs.
char16_t* makeGuardedEnd() {
    const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    void* const memory =
        ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* const end = static_cast<char*>(memory) + page;
    ::mprotect(end, page, PROT_NONE);
    return reinterpret_cast<char16_t*>(end);
}

/// Puts the text and its 0 unit in front of an end, @p slack units away from it.
const char16_t* place(const std::u16string& text, char16_t* end, size_t slack = 0) {
    const size_t units = text.size() + 1;
    return std::char_traits<char16_t>::copy(end - slack - units, text.c_str(), units);
}

TEST(CaselessComparison, AgreesWithThePlainComparisonAndReadsNothingBehindATerminator) {
    static char16_t* const s_leftEnd = makeGuardedEnd();
    static char16_t* const s_rightEnd = makeGuardedEnd();
    for (size_t length = 0; length <= 100; ++length) {
        const auto text = sample(length, static_cast<unsigned>(length));
        const auto count = static_cast<int32_t>(length);
        const auto compare = [&](const std::u16string& left, const std::u16string& right) {
            const char16_t* const l = place(left, s_leftEnd, length % 40);
            const char16_t* const r = place(right, s_rightEnd);
            const int expected = compareUnitByUnit(l, r, length, false);
            ASSERT_EQ(QXTextNICmpW(l, r, count), expected) << length;
            ASSERT_EQ(QXTextNICmpW(r, l, count), -expected) << length;
            ASSERT_EQ(QXStrNICmpW(l, r, count), compareUnitByUnit(l, r, length)) << length;
            const int expectedOfAll = compareUnitByUnit(l, r, length + 1);
            ASSERT_EQ(QXStrNICmpW(l, r, INT32_MAX), expectedOfAll) << length;
            ASSERT_EQ(QXStrNICmpW(r, l, INT32_MAX), -expectedOfAll) << length;
            ASSERT_EQ(QXStrNICmpW(l, u"", -1), 0);
            ASSERT_EQ((compareIgnoringCase<16, ReadAhead::None>(l, r, length, &QXToLowerW)),
                      expected);
            ASSERT_EQ((compareIgnoringCase<32, ReadAhead::None>(l, r, length, &QXToLowerW)),
                      expected);
        };
        // A copy in the other case, then with one unit changed, then with a 0 unit in both.
        compare(text, mapped(text, &QXToUpperW));
        compare(text, mapped(text, &QXToUpperW) + u"x");
        for (size_t at = 0; at < length; ++at) {
            auto left = text;
            auto right = mapped(text, &QXToLowerW);
            right[at] = static_cast<char16_t>(right[at] ^ 0x0401);
            compare(left, right);
            left[at] = right[at] = 0; // what follows counts in counted texts alone
            if (at + 1 < length)
                right[at + 1] = static_cast<char16_t>(right[at + 1] + 1);
            compare(left, right);
            left[at] = 1; // and a 0 unit in one of them is the smaller one
            compare(left, right);
        }
    }
}

} // namespace
