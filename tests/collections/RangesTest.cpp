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
#include <qx/collections/pcom/MapEntry.h>
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

TEST(Ranges, OfMapsGoAsTheirIteratorsDo) {
    using Change = void (*)(com::HashMap & map, IQXUnknown * key);
    const Change changes[] = {
        [](com::HashMap& map, IQXUnknown* key) { map.put(key, boxed(5)); },
        [](com::HashMap& map, IQXUnknown* key) { map.remove(key); },
        [](com::HashMap& map, IQXUnknown*) { map.put(boxed(99), nullptr); },
        [](com::HashMap& map, IQXUnknown*) { map.clear(); },
    };
    using Numbers = Map<Integer32, Object>;
    const auto walk = [](int kind, com::HashMap& map, const auto& visit) {
        if (kind == 0)
            for (const auto it = map.createEntrySet()->createIterator(); it->hasNext();)
                visit(com::entryOf(it->next()).getKey());
        if (kind == 1)
            for (const auto& [key, value] : map)
                visit(key);
        if (kind == 2)
            for (const auto& [key, value] : Numbers(&map))
                visit(key->GetUnknown());
        if (kind == 3)
            for (const auto& key : Numbers(&map).createKeySet())
                visit(key->GetUnknown());
    };
    for (const Change change : changes) {
        for (int place = 0; place <= 8; ++place) {
            SCOPED_TRACE(testing::Message() << "change " << &change - changes << " at " << place);
            std::vector<int> seen[4]; // -1 where the walk has thrown
            for (int i = 0; i < 4; ++i) {
                const auto map = makeReference<com::HashMap>(3, 10.0F);
                for (int key = 0; key < 8; ++key)
                    map->put(boxed(key), key % 3 ? boxed(key) : nullptr);
                try {
                    walk(i, *map, [&](IQXUnknown* key) {
                        seen[i].push_back(valueOf(key));
                        if (static_cast<int>(seen[i].size()) == place)
                            change(*map, key);
                    });
                } catch (const Exception&) {
                    seen[i].push_back(-1);
                }
                EXPECT_EQ(map->GetRefCount(), 1u);
                EXPECT_EQ(seen[i], seen[0]) << i;
            }
        }
    }
}

TEST(Ranges, TellTheClassesOfTheirElementsApart) {
    /// A number that lies elsewhere in its object than in others.
    struct Padding {
        virtual ~Padding() = default;
        char bytes[64] = {};
    };
    struct Behind : Padding, Integer32 {
        using Integer32::Integer32;
    };
    const auto list = makeReference<com::LinkedList>();
    for (int i = 0; i < 12; ++i)
        list->add(i % 4 == 3 ? nullptr : i / 2 % 2 ? (new Behind(i))->GetUnknown() : boxed(i));
    list->add((new String(u"x"))->GetUnknown());
    list->add(boxed(13));
    auto element = List<Integer32>(list).begin();
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(*element ? int{**element} : 3, i % 4 == 3 ? 3 : i);
        if (i < 11)
            ++element;
    }
    EXPECT_THROW(++element, CastFailedException);
    ++element;
    EXPECT_EQ(int{**element}, 13);
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

} // namespace
