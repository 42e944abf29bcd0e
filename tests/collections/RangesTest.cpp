// What hands out its elements one by one is a range of the language.

#include <algorithm>
#include <iterator>
#include <ranges>
#include <vector>

#include <gtest/gtest.h>

#include <qx/collections/IntegerHashMap.h>
#include <qx/collections/List.h>
#include <qx/collections/Map.h>
#include <qx/collections/StringHashMap.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Exception.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>

using namespace qx;
namespace com = qx::collections::pcom;
using qx::collections::IntegerHashMap;
using qx::collections::Iterator;
using qx::collections::List;
using qx::collections::Map;
using qx::collections::Set;
using qx::collections::StringHashMap;

namespace {

template <class T>
constexpr bool IsInputRange = std::ranges::input_range<T>&& std::ranges::input_range<const T>;
static_assert(IsInputRange<com::ArrayList> && IsInputRange<com::LinkedList> &&
              IsInputRange<com::HashSet>);
static_assert(IsInputRange<com::HashMap> && IsInputRange<com::Map&> && IsInputRange<com::List&>);
static_assert(IsInputRange<List<String>> && IsInputRange<Set<String>> &&
              IsInputRange<Map<String, Integer32>>);
static_assert(IsInputRange<StringHashMap> && IsInputRange<IntegerHashMap>);
static_assert(IsInputRange<Reference<List<String>>> && IsInputRange<Reference<const Set<String>>>);
static_assert(IsInputRange<Reference<com::Set>> && IsInputRange<Reference<const com::Collection>>);
static_assert(IsInputRange<Reference<com::ConstIterator>> &&
              IsInputRange<Reference<Iterator<String>>>);
// Nothing else becomes one behind a reference.
static_assert(!std::ranges::range<Reference<String>> && !std::ranges::range<Reference<Object>>);

IQXUnknown* boxed(int value) { return (new Integer32(value))->GetUnknown(); }
int valueOf(const IQXUnknown* value) { return dynamic_cast<const Integer32&>(*value); }

TEST(Ranges, OfReferencesMayBeTemporary) {
    const auto numbers = makeReference<com::HashMap>();
    for (int i = 1; i <= 4; ++i)
        numbers->put(boxed(i), boxed(10 * i));
    int sum = 0;
    for (const auto& key : numbers->createKeySet())
        sum += valueOf(key);
    for (const auto& value :
         makeReference<Map<Integer32, Integer32>>(numbers)->createValueCollection())
        sum += *value;
    EXPECT_EQ(sum, 110);

    const Reference<com::ConstIterator> walk = numbers->createKeySet()->createConstIterator();
    walk->next();
    EXPECT_EQ(std::ranges::distance(walk), 3) << "what is left";
}

TEST(Ranges, OfKeyedMapsGoAsForEachDoes) {
    for (const int count : {0, 1, 47, 48, 49, 500}) { // around the entries put in order at once
        SCOPED_TRACE(count);
        IntegerHashMap numbers(1, 1e9f); // one bucket
        StringHashMap texts;
        for (int i = 0; i < count; ++i) {
            numbers.put(i * 7919 % 1000, new Integer32(i));
            texts.put(String::valueOf(i), new Integer32(i));
        }
        std::vector<std::pair<int, Object*>> expected;
        numbers.forEach([&](int key, Object* value) { expected.emplace_back(key, value); });
        std::vector<std::pair<int, Object*>> found;
        std::ranges::copy(numbers, std::back_inserter(found));
        EXPECT_EQ(found, expected);
        int walked = 0;
        for (const auto& [key, value] : texts) {
            EXPECT_EQ(String(key), String::valueOf(valueOf(value->GetUnknown())));
            ++walked;
        }
        EXPECT_EQ(walked, count);
    }
}

TEST(Ranges, OfKeyedMapsNoticeChanges) {
    StringHashMap map;
    map.put(String(u"a"), new Integer32(1));
    map.put(String(u"b"), nullptr);
    const auto walkAnd = [&map](auto change) {
        for (auto&& entry : map)
            change(String(entry.first));
    };
    EXPECT_NO_THROW(walkAnd([&](const String& key) { map.put(key, new Integer32(2)); }));
    EXPECT_THROW(walkAnd([&](const String& key) { map.put(key + u"x", nullptr); }), Exception);
    EXPECT_THROW(walkAnd([&](const String& key) { map.remove(key); }), Exception);
    EXPECT_THROW(walkAnd([&](const String&) { map.clear(); }), Exception);
}

} // namespace
