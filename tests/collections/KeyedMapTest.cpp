#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include <qx/collections/IntegerHashMap.h>
#include <qx/collections/StringHashMap.h>
#include <qx/core/Exception.h>
#include <qx/util/buffer/MTBuffer.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/KeyedMapPlay.h"

using namespace qx;
using namespace qxtest;
using collections::IntegerHashMap;
using collections::StringHashMap;

namespace {

constexpr float Load = IntegerHashMap::DEFAULT_LOAD;

int numberOf(const Reference<Object>& value) {
    return value ? dynamic_cast<const Item&>(*value).value() : Null;
}

/// The number as a key of the kind of @p Map.
template <class Map>
auto keyOf(int number) {
    if constexpr (std::is_same_v<Map, IntegerHashMap>)
        return number;
    else
        return String(std::u16string(3, static_cast<char16_t>(u'0' + number)).c_str());
}

template <class Map>
void fill(Map& map, int count) {
    for (int number = 0; number < count; ++number)
        map.put(keyOf<Map>(number), new Item(number));
}

} // namespace

template <class Map>
struct KeyedMap : testing::Test {
    ~KeyedMap() override { EXPECT_EQ(Item::alive(), 0); }
};

using BothMaps = testing::Types<IntegerHashMap, StringHashMap>;
TYPED_TEST_SUITE(KeyedMap, BothMaps);

TYPED_TEST(KeyedMap, RefusesTablesWithoutBucketsOrRoom) {
    EXPECT_THROW(TypeParam(0, Load), RangeErrorException); // as HashMap, by the same rule

    // Memory for the buckets is not taken before they hold something.
    TypeParam map(std::numeric_limits<int>::max() / 2 + 1, 1e-12f);
    EXPECT_THROW(map.put(keyOf<TypeParam>(1), new Item(1)), std::length_error);
    EXPECT_TRUE(map.isEmpty());
    EXPECT_TRUE(!map.get(keyOf<TypeParam>(1)) && !map.remove(keyOf<TypeParam>(1)));
    map.clear();
}

TYPED_TEST(KeyedMap, ValuesMayUseItWhileTheyGo) {
    auto map = makeReference<TypeParam>();
    int seen = -1;
    const auto farewell = [&seen, at = map.get()] {
        const Reference<TypeParam> visitor(at);
        seen = at->getSize();
        for (int number = 0; number < 100; ++number) // grows too
            at->put(keyOf<TypeParam>(number + 10), new Item(number));
    };
    const auto put = [&] { map->put(keyOf<TypeParam>(0), new Item(0, farewell)); };
    fill(*map, 3);
    put();
    map->put(keyOf<TypeParam>(0), nullptr);
    EXPECT_EQ(seen, 3);
    EXPECT_EQ(map->getSize(), 103);
    put();
    map->remove(keyOf<TypeParam>(0));
    EXPECT_EQ(seen, 102);
    put();
    map->clear();
    EXPECT_EQ(seen, 0);
    EXPECT_EQ(map->getSize(), 100);
    put();
    map.reset(); // ends all the same, once
}

TYPED_TEST(KeyedMap, WalksNoticeWhenTheyChangeTheMap) {
    using Change = std::function<void(TypeParam & map)>;
    const auto walk = [](bool isRange, const Change& change) {
        TypeParam map;
        fill(map, 75);
        if (!isRange)
            return map.forEach([&](auto&&...) { change(map); });
        for ([[maybe_unused]] auto&& entry : map)
            change(map);
    };
    for (const bool isRange : {false, true}) {
        int visits = 0;
        walk(isRange, [&](TypeParam& map) { // replacing a value is no change of the keys
            map.put(keyOf<TypeParam>(1), nullptr);
            ++visits;
        });
        EXPECT_EQ(visits, 75);
        for (const Change& change : std::initializer_list<Change>{
                 [](TypeParam& map) { map.put(keyOf<TypeParam>(500), nullptr); },
                 [](TypeParam& map) { map.remove(keyOf<TypeParam>(1)); },
                 [](TypeParam& map) { map.clear(); },
             })
            EXPECT_THROW(walk(isRange, change), Exception);
    }
}

TEST(StringHashMap, TakesTextsAndUnitsWithALengthOrUpToTheFirstZeroUnit) {
    StringHashMap map{
        {u"abc", new Item(1)}, {String(u"abc\0d", 5), new Item(2)}, {u"", new Item(3)}};
    for (const auto& value : {map.get(u"abc\0d", -1), map.get(u"abcdef", 3), map.get("abc"),
                              map.get(std::u16string_view(u"abcdef", 3))})
        EXPECT_EQ(numberOf(value), 1);
    for (const auto& value : {map.get(nullptr, -1), map.get(nullptr, 4), map.get(""), map.get(u"")})
        EXPECT_EQ(numberOf(value), 3);
    EXPECT_EQ(numberOf(map.put(std::string("abc\0d", 5), nullptr)), 2);
    EXPECT_TRUE(map.containsKey(u"abc", -1) && map.containsKey("abc") && map.containsKey(u"abc") &&
                !map.containsKey(u"abc", 2));
    EXPECT_FALSE(map.containsKey(u"abc\0d", 5)); // with a null value
    EXPECT_EQ(numberOf(map.remove("abc")), 1);
    EXPECT_TRUE(!map.put(u"abc", new Item(4)) && numberOf(map.remove(u"abc")) == 4);

    struct Counting : StringHashMap {
        using StringHashMap::get;
        Reference<Object> get(const String& key) const override {
            return new Item(key.getLength());
        }
    };
    EXPECT_EQ(numberOf(Counting().get(u"abc")), 3) << "also by a literal";
}

TEST(StringHashMap, RefusesKeysThatCannotExposeTheirUnits) {
    const auto buffer = makeReference<util::MTCharBuffer>(u"key", 4); // its 0 unit counts
    const String key(buffer.get(), String::AM_SHARE);
    StringHashMap map;
    map.put(u"key", new Item(1));
    buffer->getWriteLock(4);
    expectEach<ResultException>({[&] { map.get(key); }, [&] { map.containsKey(key); },
                                 [&] { map.remove(key); }, [&] { map.put(key, new Item(2)); }});
    buffer->releaseWriteLock(4);
    EXPECT_EQ(Item::alive(), 1); // the value that was not taken is gone
    EXPECT_EQ(map.getSize(), 1);
}
