#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <qx/platform/text.h>

// The kernels are compared at both vector widths, whichever the library chooses here.
#include "qx/platform/detail/CaseKernel.h"

namespace {

using qx::platform::CaseTarget;
using qx::platform::compareIgnoringCase;
using qx::platform::mapCase;
using qx::platform::ReadAhead;

/// The unit of four hexadecimal digits; @p otherwise without them.
char16_t unitOf(const std::string& digits, char16_t otherwise = 0) {
    return digits.empty() ? otherwise : static_cast<char16_t>(std::stoul(digits, nullptr, 16));
}

TEST(CaseMapping, MapsEveryUnitAsTheUnicodeDataSays) {
    std::vector<char16_t> upper(0x10000), lower(0x10000);
    for (size_t unit = 0; unit < 0x10000; ++unit)
        upper[unit] = lower[unit] = static_cast<char16_t>(unit);
    const auto root = std::filesystem::path(QX_TEST_DATA_DIR).parent_path().parent_path();
    std::ifstream data(root / "tools/gen/data/simple-case-mapping.txt");
    ASSERT_TRUE(data);
    int rows = 0;
    for (std::string line; std::getline(data, line);) {
        std::istringstream fields(line);
        std::string code, toUpper, toLower;
        for (std::string* field : {&code, &toUpper, &toLower})
            std::getline(fields, *field, ';');
        if (line[0] == '#')
            continue;
        const char16_t unit = unitOf(code);
        upper[unit] = unitOf(toUpper, unit);
        lower[unit] = unitOf(toLower, unit);
        ++rows;
    }
    ASSERT_GT(rows, 2000);
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
    for (size_t i = 0; text.size() < length; ++i) {
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

template <class Map>
std::u16string mapped(std::u16string text, Map map) {
    for (char16_t& unit : text)
        unit = map(unit);
    return text;
}

TEST(CaseMapping, MapsCountedTextOfEveryLengthAndAlignmentAsUnitByUnit) {
    for (size_t length = 0; length <= 200; ++length) {
        for (size_t offset = 0; offset < 16; ++offset) {
            const auto whole =
                sample(offset + length + 8, static_cast<unsigned>(length * 16 + offset));
            const auto text = whole.substr(offset, length);
            const auto expectMapped = [&](auto map, auto plain) {
                std::u16string changed = whole;
                map(changed.data() + offset, length);
                // What stands around the text is left alone.
                ASSERT_EQ(changed,
                          std::u16string(whole).replace(offset, length, mapped(text, plain)))
                    << "length " << length << " offset " << offset;
            };
            const auto length32 = static_cast<int32_t>(length);
            expectMapped([=](auto* at, size_t) { QXTextToUpperW(at, length32); }, &QXToUpperW);
            expectMapped([=](auto* at, size_t) { QXTextToLowerW(at, length32); }, &QXToLowerW);
            expectMapped(
                [](auto* at, size_t n) { mapCase<CaseTarget::Upper, 16>(at, n, &QXToUpperW); },
                &QXToUpperW);
            expectMapped(
                [](auto* at, size_t n) { mapCase<CaseTarget::Lower, 32>(at, n, &QXToLowerW); },
                &QXToLowerW);
        }
    }
}

int compareUnitByUnit(const char16_t* left, const char16_t* right, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const char16_t l = QXToLowerW(left[i]);
        const char16_t r = QXToLowerW(right[i]);
        if (l != r)
            return l < r ? -1 : 1;
        if (l == 0)
            return 0;
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
            const int expected = compareUnitByUnit(l, r, length);
            ASSERT_EQ(QXTextNICmpW(l, r, count), expected) << length;
            ASSERT_EQ(QXTextNICmpW(r, l, count), -expected) << length;
            ASSERT_EQ(QXStrNICmpW(l, r, count), expected) << length;
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
            left[at] = right[at] = 0; // what follows must not count
            if (at + 1 < length)
                right[at + 1] = static_cast<char16_t>(right[at + 1] + 1);
            compare(left, right);
            left[at] = 1; // and a 0 unit in one of them is the smaller one
            compare(left, right);
        }
    }
}

} // namespace
