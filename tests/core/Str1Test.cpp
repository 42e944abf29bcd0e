#include <map>
#include <random>
#include <ranges>
#include <unordered_map>

#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/MapModel.h"

using namespace qx;
using namespace std::string_literals;

namespace {

std::u16string unitsOf(const Str1& text) { return std::u16string(text.view()); }

template <class T>
constexpr bool IsText = std::ranges::contiguous_range<T>&& std::ranges::sized_range<T>&&
    std::same_as<std::ranges::range_value_t<T>, char16_t>;
static_assert(IsText<String> && IsText<const String> && IsText<TextView>);
static_assert(IsText<Str1> && IsText<Str1Fixed<>> && IsText<const Str1Static>);
static_assert(std::ranges::borrowed_range<TextView> && std::ranges::view<TextView>);
static_assert(std::three_way_comparable<String, std::strong_ordering>);
static_assert(std::three_way_comparable<Str1, std::strong_ordering>);

/// Every kind of text that can stand on the right of a comparison.
void comparesWithEveryText(const auto& b) {
    const std::u16string_view view = u"c";
    const String string(view);
    const Str1Copy light(view);
    EXPECT_TRUE(b < view && b < string && b < light && b < TextView(view) && b < u"c");
    EXPECT_TRUE(view > b && string > b && light > b && u"c" > b);
    EXPECT_TRUE(b != view && b != string && b != light && b == u"b" && String(u"b") == b);
}

const char16_t* bufferOf(const Str1& text) { return text.getData0(); }

} // namespace

TEST(Str1, CopiesAndPartsShareTheBufferUntilOneWrites) {
    Str1Copy text(u"hello world");
    const Str1 copy(text);
    Str1 world = text.substring(6);
    EXPECT_EQ(bufferOf(copy), bufferOf(text));
    EXPECT_EQ(bufferOf(world), bufferOf(text) + 6);
    world.append(u"!");
    EXPECT_EQ(unitsOf(world), u"world!");
    text.toUpper();
    EXPECT_EQ(unitsOf(text), u"HELLO WORLD");
    EXPECT_EQ(unitsOf(copy), u"hello world");
    const char16_t* const buffer = bufferOf(text);
    text.append(u"!").toLower().append(u'?', 3);
    EXPECT_EQ(bufferOf(text), buffer); // a buffer of its own is written in place
    EXPECT_EQ(unitsOf(text), u"hello world!???");
    EXPECT_EQ(unitsOf(Str1(copy, 9, 20)), u"ld");
    for (const auto& [start, end] : {std::pair{3, 3}, {4, 2}, {-1, 3}, {11, 20}})
        EXPECT_EQ(unitsOf(Str1(copy, start, end)), u"");
}

TEST(Str1, FixedRoomTakesNoAllocationAndLargerTextsGrowByAQuarter) {
    const int64_t before = qxtest::allocationCount();
    Str1Fixed<> text;
    text.append(u'x', 128);
    EXPECT_EQ(qxtest::allocationCount(), before);
    EXPECT_EQ(text.ensureCapacity1(128), 128);
    EXPECT_EQ(text.ensureCapacity1(129), 192);
    EXPECT_EQ(unitsOf(text), std::u16string(128, u'x'));

    const std::tuple<int32_t, int32_t, int32_t> cases[] = {
        {1, 0, 16},  {17, 0, 32}, {129, 0, 144}, {129, 1, 192},
        {16, 1, 32}, {64, 1, 80}, {65, 1, 112},  {1, 100, 144}};
    for (const auto& [need, kept, capacity] : cases) {
        Str1 other;
        if (kept > 0)
            other.append(u'k', kept);
        const Str1 holder(other); // shared, so it has to move
        EXPECT_EQ(other.ensureCapacity1(need, 0, kept > 0 ? -1 : 0), capacity) << need;
        EXPECT_EQ(unitsOf(other), std::u16string(static_cast<size_t>(kept), u'k'));
    }
}

TEST(Str1, EnsureCapacityReusesTheRoomInFrontOfASpan) {
    Str1 text(32);
    text.append(u"0123456789abcdef");
    text.setTo(text.substring(10)); // six units at offset 10, and the buffer is its own
    EXPECT_EQ(text.ensureCapacity1(22), 22);
    const char16_t* const inPlace = bufferOf(text);
    EXPECT_EQ(text.ensureCapacity1(23), 32); // moved to the front
    EXPECT_EQ(bufferOf(text), inPlace - 10);
    EXPECT_EQ(unitsOf(text), u"abcdef");
    EXPECT_EQ(text.ensureCapacity1(0), 32);
    EXPECT_EQ(Str1().ensureCapacity1(0), 0);
}

TEST(Str1, VariantsBeginInTheirMemoryAndOutgrowIt) {
    char16_t array[8] = u"local";
    Str1Local local(array, -1, 8);
    local.append(u"!!!");
    EXPECT_EQ(bufferOf(local), array);
    EXPECT_EQ(std::u16string_view(array, 8), u"local!!!");
    local.append(u'.');
    EXPECT_NE(bufferOf(local), array);
    EXPECT_EQ(unitsOf(local), u"local!!!.");
    static constexpr char16_t literal[] = u"Literal";
    Str1Static constant(literal);
    EXPECT_EQ(bufferOf(constant), literal);
    constant.toLower();
    EXPECT_EQ(unitsOf(constant), u"literal");
    EXPECT_EQ(std::u16string_view(literal), u"Literal");
    Str1 shared;
    shared.setTo(Str1Wrap(array, 5, 8));
    EXPECT_EQ(bufferOf(shared), array); // the wrapping buffer outlives its first holder
    shared.reset();
    EXPECT_TRUE(shared.isEmpty());
    char16_t terminated[] = u"abc";
    EXPECT_EQ(unitsOf(Str1Wrap(terminated, -1, 4)), u"abc");
    Str1Fixed<4> fixed(u"1234");
    const Str1Fixed<4> copy(fixed);
    EXPECT_NE(bufferOf(copy), bufferOf(fixed));
    fixed.append(u"5");
    EXPECT_EQ(unitsOf(copy), u"1234");
}

TEST(Str1, ComparesWithEveryTextAndIsFoundByIt) {
    comparesWithEveryText(String(u"b"));
    comparesWithEveryText(static_cast<const Str1&>(Str1Copy(u"b")));
    // By unit, unsigned, a prefix first; the empty light string has no units at all.
    EXPECT_LT(Str1(), Str1Copy(u"\0", 1));
    EXPECT_LT(Str1Copy(u"a"), Str1Copy(u"a\uFFFF"));
    EXPECT_LT(Str1Copy(u"\x7FFF"), Str1Copy(u"\xD800"));
    EXPECT_TRUE(Str1().begin() == Str1().end());
    EXPECT_EQ(std::ranges::count(Str1Copy(u"abca").substring(1), u'a'), 1);
    const std::unordered_map<String, int, TextHash, std::equal_to<>> ages{{String(u"Ada"), 36}};
    EXPECT_EQ(ages.find(u"Ada")->second, 36);
    EXPECT_EQ(ages.find(std::u16string_view(u"Ada"))->second, 36);
    EXPECT_EQ(ages.find(Str1Copy(u"Ada"))->second, 36);
    EXPECT_EQ(ages.find(u"ada"), ages.end());
    const std::map<String, int, std::less<>> sorted{{String(u"Ada"), 36}};
    EXPECT_EQ(sorted.find(std::u16string_view(u"Ada"))->second, 36);
    EXPECT_EQ(std::hash<Str1>()(Str1Copy(u"Ada")), std::hash<String>()(String(u"Ada")));
}

TEST(Str1, AppendorLooksAtTheCapacityOncePerBatch) {
    Str1 text;
    Str1::Appendor appendor(text, 100, 20);
    EXPECT_FALSE(appendor.used());
    const int64_t before = qxtest::allocationCount();
    for (int i = 0; i < 101; ++i)
        appendor.fastAppend(u'v');
    EXPECT_EQ(qxtest::allocationCount(), before + 1);
    EXPECT_TRUE(appendor.used());
    for (int i = 0; i < 500; ++i)
        appendor.fastAppend(u"xyz", 3);
    EXPECT_EQ(unitsOf(text.substring(100, 107)), u"vxyzxyz");
    text.reset();
    appendor.resync();
    appendor.firstAppend(u"again", 5);
    appendor.setRemCap(1000);
    const char16_t* const buffer = bufferOf(text);
    std::fill_n(appendor.checkAvailable(1000), 1000, u'.');
    EXPECT_EQ(bufferOf(text), buffer);
    EXPECT_EQ(text.view(), u"again" + std::u16string(1000, u'.'));
    appendor.fastAppend(text.getData0(), text.getLength()); // which moves
    EXPECT_EQ(unitsOf(text.substring(1005)), unitsOf(text.substring(0, 1005)));
}

TEST(Str1, MoreThanABufferHoldsIsRefused) {
    Str1 text = Str1Copy(u"012abc").substring(3);
    EXPECT_THROW(text.append(u'x', StrBuf1::MaxCapacity), std::bad_alloc);
    EXPECT_THROW(text.ensureCapacity1(StrBuf1::MaxCapacity + 1), std::bad_alloc);
    EXPECT_THROW(text.ensureCapacity1(StrBuf1::MaxCapacity + 1, 0, 0), std::bad_alloc);
    EXPECT_EQ(unitsOf(text), u"abc");
    Str1 large(StrBuf1::MaxCapacity);
    EXPECT_EQ(large.ensureCapacity1(1), StrBuf1::MaxCapacity);
}

TEST(Str1, ConvertsBytesInPieces) {
    const std::string expected = "Gr\xC3\xBC\xC3\x9F\x65 \xF0\x9F\x98\x80";
    const Str1 text(expected.c_str(), -1, u"UTF-8");
    EXPECT_EQ(unitsOf(text), u"Gr\u00FC\u00DFe \U0001F600");
    EXPECT_EQ(reinterpret_cast<const char*>(text.getBytesAZ(u"UTF-8").get()), expected);
    // Half a pair at the end is no matter of room, however an encoder treats it.
    const Str1Copy half(u"abc\xD83D"), plain(u"abc");
    const struct {
        const Str1& text;
        const char16_t* encoding;
        int32_t code;
        std::string bytes;
    } rows[] = {
        {text, u"UTF-8", result::Ok, expected},
        {half, u"UTF-8", result::InvalidCharacter, "abc"},
        {half, u"UTF-16LE", result::Ok, "a\0b\0c\0\x3D\xD8"s},
        {half, u"UTF-32BE", result::InvalidCharacter, "\0\0\0a\0\0\0b\0\0\0c"s},
        {half, u"AMP-7", result::InvalidCharacter, "abc"},
        {half, u"ASCII", result::InvalidCharacter, "abc"},
        {plain, u"UTF-8-SIG", result::Ok, "\xEF\xBB\xBF"s + "abc"},
        {half, u"UTF-8-SIG", result::InvalidCharacter, "\xEF\xBB\xBF"s + "abc"},
        {text, u"no such encoding", result::UnknownEncoding, ""},
    };
    for (const auto& row : rows) {
        for (const int32_t size : {4, 5, 6, 7, 20}) {
            SCOPED_TRACE(testing::Message() << String(row.encoding) << " by " << size);
            std::string joined;
            int32_t position = 0, count = 0, code = result::BufferTooSmall;
            for (int call = 0; call < 20 && code == result::BufferTooSmall; ++call) {
                signed char piece[20];
                code = row.text.convertToA(piece, call == 0 ? 0 : size, &count, row.encoding,
                                           &position);
                joined.append(reinterpret_cast<const char*>(piece), static_cast<size_t>(count));
            }
            EXPECT_EQ(code, row.code);
            EXPECT_EQ(joined, row.bytes);
            EXPECT_EQ(code != result::Ok || position == row.text.getLength(), true);
            EXPECT_EQ(row.text.getLengthA(&count, row.encoding), row.code);
            EXPECT_EQ(qxtest::failureOf([&] { row.text.getBytesAZ(row.encoding); }), row.code);
        }
    }
    signed char bytes[13];
    int32_t count = 0;
    for (const int32_t room : {0, 12, 13}) {
        EXPECT_EQ(text.convertToAZ(bytes, room, &count, u"UTF-8"),
                  room == 13 ? result::Ok : result::BufferTooSmall);
        EXPECT_EQ(count, room == 0 ? 0 : room == 12 ? 8 : 12);
    }
    EXPECT_EQ(reinterpret_cast<char*>(bytes), expected);
    for (int32_t outside : {-9, 99}) {
        const int32_t left = outside < 0 ? 12 : 0;
        EXPECT_EQ(text.convertToA(bytes, 13, &count, u"UTF-8", &outside), result::Ok);
        EXPECT_TRUE(count == left && outside == text.getLength());
    }

    Str1 many;
    many.append(u'\u4E00', 5'000);
    for (const int32_t from : {0, 4'999}) {
        EXPECT_EQ(many.getLengthA(&count, u"UTF-8", from), result::Ok);
        EXPECT_EQ(count, 3 * (5'000 - from));
    }
    many.copyA("abc", 3, u"ASCII").appendA("de", -1, u"ASCII");
    EXPECT_THROW(many.appendA("x\xED\xA0\x80", 4, u"UTF-8"), Exception);
    EXPECT_EQ(unitsOf(many), u"abcde");
}

TEST(Str1HashMap, ValuesMayUseItWhileTheyGo) {
    Str1HashMap<std::shared_ptr<void>> map;
    const auto farewell = [&map](void*) {
        for (char16_t key = 0; key < 100; ++key) // grows too
            map.put({&key, 1}, {});
    };
    map.put(u"a", {nullptr, farewell});
    map.clear();
    EXPECT_EQ(map.getSize(), 100);
}

TEST(Str1HashMap, IsWhatItsPlainModelIs) {
    std::mt19937 random(5);
    for (size_t round = 0; round < 16; ++round) {
        const int size = std::array{1, 2, 7, 101}[round % 4];
        const float load = std::array{0.75f, 1.f, 100.f, 1e30f}[round / 4];
        Str1HashMap<int> map(size, load);
        qxtest::ModelMap<qxtest::StringRules> model(size, load);
        Str1HashMap<int>::KeyValueIterator iterator;
        const Str1* walked = nullptr;
        int* number = nullptr;
        for (int step = 0; step < 2'000; ++step) {
            std::u16string key(random() % 3 == 0 ? 70 : random() % 3, u'k');
            for (char16_t& unit : key)
                unit = static_cast<char16_t>(unit + random() % 6);
            const bool isThere = model.find(key) != nullptr;
            const int known = isThere ? model.get(key) : -2;
            int old = -2;
            if (step % 500 == 499) {
                map.clear(), model.clear();
            } else if (random() % 2) {
                ASSERT_EQ(map.put(key, step, &old), isThere);
                ASSERT_EQ(old, known);
                model.put(key, step);
            } else if (random() % 2) {
                ASSERT_EQ(map.remove(key, &old), isThere);
                ASSERT_EQ(old, known);
                model.remove(key);
            }
            int found = -2;
            ASSERT_EQ(map.get(key, &found), model.find(key) != nullptr);
            ASSERT_EQ(map.containsKey(key), model.find(key) != nullptr);
            ASSERT_EQ(found, model.find(key) ? model.get(key) : -2);
            ASSERT_EQ(map.getSize(), model.size);
            ASSERT_EQ(map.getTableSize(), model.capacity());
            if (step % 50 != 0)
                continue;
            std::multimap<std::u16string, int> seen;
            for (map.iteratorInit(iterator); map.iteratorHasNext(iterator);) {
                map.iteratorNext(iterator, &walked, &number);
                seen.emplace(unitsOf(*walked), *number);
            }
            const auto content = model.content();
            ASSERT_EQ(seen, (std::multimap<std::u16string, int>(content.begin(), content.end())));
            ASSERT_THROW(map.iteratorNext(iterator, nullptr, nullptr), IllegalStateException);
        }
        for (const bool added : {true, false}) { // a change of the keys ends a walk
            map.put(u"some", 1);
            map.iteratorInit(iterator);
            added ? map.put(u"another", 2) : map.remove(u"another");
            EXPECT_THROW(map.iteratorNext(iterator, nullptr, nullptr), IllegalStateException);
        }
    }
    EXPECT_EQ(Str1HashMap<int>().getTableSize(), 101);
    EXPECT_THROW(Str1HashMap<int>(1, 0), RangeErrorException); // would double at every key
    Str1HashMapLC<int> folded;
    folded.put(u"\u00C4scII", 2);
    int number = 0;
    EXPECT_TRUE(folded.get(u"\u00E4SCii", &number) && number == 2);
    EXPECT_TRUE(folded.put(u"\u00E4scii", 3));
}
