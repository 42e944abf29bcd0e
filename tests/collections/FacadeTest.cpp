#include <gtest/gtest.h>

#include <ranges>
#include <string>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

using namespace qx;
namespace com = qx::collections::pcom;
using Texts = collections::List<String>;
using Numbers = collections::Map<String, Integer32>;
using NumberSet = collections::Set<Integer32>;

namespace {

template <class T>
constexpr bool IsInputRange = std::ranges::input_range<T>&& std::ranges::input_range<const T>;
static_assert(IsInputRange<com::ArrayList> && IsInputRange<com::LinkedList> &&
              IsInputRange<com::HashSet> && IsInputRange<com::HashMap> && IsInputRange<com::Map&> &&
              IsInputRange<com::List&>);
static_assert(IsInputRange<Texts> && IsInputRange<NumberSet> && IsInputRange<Numbers>);
static_assert(IsInputRange<collections::StringHashMap> &&
              IsInputRange<collections::IntegerHashMap>);
static_assert(IsInputRange<Reference<Texts>> && IsInputRange<Reference<const NumberSet>> &&
              IsInputRange<Reference<com::Set>> && IsInputRange<Reference<const com::Collection>>);
static_assert(IsInputRange<Reference<com::ConstIterator>> &&
              IsInputRange<Reference<collections::Iterator<String>>>);
// Nothing else becomes one behind a reference.
static_assert(!std::ranges::range<Reference<String>> && !std::ranges::range<Reference<Object>>);

Reference<Texts> texts(std::initializer_list<const char16_t*> values) {
    auto list = makeReference<Texts>(makeReference<com::ArrayList>());
    for (const char16_t* value : values)
        list->add(new String(value));
    return list;
}

std::string joined(const collections::Collection<String>& collection) {
    std::string text;
    for (const auto& element : collection)
        text += element->toUtf8() + ' ';
    return text;
}

Reference<String> string(const char16_t* units) { return new String(units); }

IQXUnknown* boxed(int value) { return (new Integer32(value))->GetUnknown(); }
int numberOf(const IQXUnknown* value) { return dynamic_cast<const Integer32&>(*value); }

} // namespace

TEST(ListFacade, IsTheListThatItWraps) {
    const auto wrapped = makeReference<com::LinkedList>();
    const auto list = makeReference<Texts>(wrapped);
    EXPECT_TRUE(list->isEmpty());
    list->add(new String(u"b"));
    EXPECT_TRUE(list->add(0, new String(u"a")));
    EXPECT_TRUE(list->addAll(2, *texts({u"c", u"d", u"c"})));
    EXPECT_EQ(wrapped->getSize(), 5);
    EXPECT_EQ(joined(*list), "a b c d c ");

    EXPECT_EQ(*list->get(3), u"d");
    EXPECT_EQ(list->indexOf(string(u"c")), 2);
    EXPECT_EQ(list->lastIndexOf(string(u"c")), 4);
    EXPECT_TRUE(list->contains(string(u"d")));
    EXPECT_EQ(*list->set(1, new String(u"x")), u"b");
    EXPECT_EQ(*list->remove(0), u"a");
    EXPECT_TRUE(list->remove(string(u"c")));
    EXPECT_EQ(joined(*list), "x d c ");

    const auto view = list->createSubList(1, 3);
    view->add(new String(u"y"));
    EXPECT_EQ(joined(*list), "x d c y ");
    EXPECT_TRUE(list->removeAll(*texts({u"d", u"q"})));
    EXPECT_TRUE(list->retainAll(*texts({u"x", u"y"})));
    EXPECT_EQ(joined(*list), "x y ");
    EXPECT_TRUE(list->containsAll(*texts({u"y"})));
    list->clear();
    EXPECT_TRUE(wrapped->isEmpty());
}

TEST(ListFacade, WalksInBothDirectionsAndChangesWhatItWalks) {
    const auto list = texts({u"a", u"b", u"c"});
    const auto walk = list->createListIterator(1);
    EXPECT_EQ(walk->nextIndex(), 1);
    EXPECT_EQ(*walk->previous(), u"a");
    walk->set(new String(u"A"));
    EXPECT_EQ(*walk->next(), u"A");
    walk->add(new String(u"n"));
    EXPECT_EQ(walk->previousIndex(), 1);
    EXPECT_EQ(*walk->next(), u"b");
    walk->remove();
    EXPECT_EQ(joined(*list), "A n c ");

    const auto remover = list->createIterator();
    while (remover->hasNext())
        if (*remover->next() == u"n")
            remover->remove();
    EXPECT_EQ(joined(*list), "A c ");
    const auto reader = list->createConstListIterator(2);
    EXPECT_EQ(*reader->previous(), u"c");
    EXPECT_TRUE(reader->hasPrevious());
}

TEST(ListFacade, ComparesAsWhatItWraps) {
    const auto list = texts({u"a", u"b"});
    const auto same = texts({u"a", u"b"});
    EXPECT_TRUE(list->equals(*same));
    EXPECT_EQ(list->compareTo(*texts({u"a", u"b", u"c"})), -1);
    EXPECT_EQ(list->hashCode(), same->hashCode());
    com::ArrayList components;
    components.addAll(*list->getWrapped());
    EXPECT_TRUE(list->equals(components));
    EXPECT_FALSE(list->equals(String(u"a")));
    EXPECT_THROW(list->compareTo(String(u"a")), CastFailedException);
}

TEST(ListFacade, TakesElementsOfAnyClassAndTellsOthersApart) {
    const auto wrapped = makeReference<com::ArrayList>();
    collections::List<qxtest::Item> points(wrapped);
    points.add(new qxtest::Item(1));
    points.add(nullptr);
    EXPECT_EQ(points.indexOf(Reference<qxtest::Item>(new qxtest::Item(1))), 0);
    EXPECT_EQ(points.indexOf(nullptr), 1);
    EXPECT_EQ(points.get(1), nullptr);
    qxtest::expectThrowsResult(result::NullPointer, [] { Texts(nullptr); });

    const collections::List<Integer32> numbers(wrapped);
    EXPECT_THROW(numbers.get(0), CastFailedException);
    EXPECT_EQ(numbers.get(1), nullptr);
    EXPECT_THROW(numbers.begin(), CastFailedException);
}

TEST(SetFacade, KeepsEqualElementsOnceAndComparesAsASet) {
    NumberSet numbers(makeReference<com::HashSet>()), same(makeReference<com::HashSet>());
    EXPECT_TRUE(numbers.add(new Integer32(7)));
    EXPECT_FALSE(numbers.add(new Integer32(7)));
    EXPECT_TRUE(numbers.add(new Integer32(-7)));
    EXPECT_EQ(numbers.getSize(), 2);
    same.addAll(numbers);
    EXPECT_TRUE(numbers.equals(same));
    same.remove(Reference<Integer32>(new Integer32(7)));
    EXPECT_FALSE(numbers.equals(same));
    EXPECT_THROW(numbers.equals(String(u"7")), CastFailedException);
}

TEST(MapFacade, IsTheMapThatItWraps) {
    const auto wrapped = makeReference<com::HashMap>();
    Numbers numbers(wrapped), same(makeReference<com::HashMap>());
    EXPECT_EQ(numbers.put(string(u"one"), new Integer32(10)), nullptr);
    EXPECT_EQ(*numbers.put(string(u"one"), new Integer32(1)), 10);
    EXPECT_EQ(numbers.put(string(u"none"), nullptr), nullptr);
    EXPECT_EQ(wrapped->getSize(), 2);
    EXPECT_EQ(*numbers.get(string(u"one")), 1);
    EXPECT_EQ(numbers.get(string(u"none")), nullptr);
    EXPECT_TRUE(numbers.containsKey(string(u"none")));
    EXPECT_TRUE(numbers.containsValue(nullptr));
    std::string all;
    for (const auto& [name, number] : numbers)
        all += name->toUtf8() + (number ? "=" + number->toString().toUtf8() : "") + ' ';
    EXPECT_TRUE(all == "one=1 none " || all == "none one=1 ") << all;
    const auto walk = wrapped->createKeySet()->createConstIterator();
    walk->next();
    EXPECT_EQ(std::ranges::distance(walk), 1) << "what is left";

    same.putAll(numbers);
    EXPECT_TRUE(same.equals(numbers));
    EXPECT_EQ(same.compareTo(numbers), 0);
    numbers.createKeySet()->remove(string(u"none"));
    EXPECT_EQ(numbers.getSize(), 1);
    EXPECT_FALSE(same.equals(numbers));
    int sum = 0;
    for (const auto& value : numbers.createValueCollection()) // a temporary is kept for the loop
        sum += *value;
    EXPECT_EQ(sum, 1);
    EXPECT_EQ(*numbers.remove(string(u"one")), 1);
    EXPECT_TRUE(numbers.isEmpty());
}

TEST(Ranges, OfMapsGoAsTheirIteratorsDo) {
    using Change = void (*)(com::HashMap & map, IQXUnknown * key);
    const Change changes[] = {
        [](com::HashMap& map, IQXUnknown* key) { map.put(key, boxed(5)); },
        [](com::HashMap& map, IQXUnknown* key) { map.remove(key); },
        [](com::HashMap& map, IQXUnknown*) { map.put(boxed(99), nullptr); },
        [](com::HashMap& map, IQXUnknown*) { map.clear(); },
    };
    using NumberMap = collections::Map<Integer32, Object>;
    const auto walk = [](int kind, com::HashMap& map, const auto& visit) {
        if (kind == 0)
            for (const auto it = map.createEntrySet()->createIterator(); it->hasNext();)
                visit(com::entryOf(it->next()).getKey());
        if (kind == 1)
            for (const auto& [key, value] : map)
                visit(key);
        if (kind == 2)
            for (const auto& [key, value] : NumberMap(&map))
                visit(key->GetUnknown());
        if (kind == 3)
            for (const auto& key : NumberMap(&map).createKeySet())
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
                        seen[i].push_back(numberOf(key));
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
    auto element = collections::List<Integer32>(list).begin();
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(*element ? int{**element} : 3, i % 4 == 3 ? 3 : i);
        if (i < 11)
            ++element;
    }
    EXPECT_THROW(++element, CastFailedException);
    ++element;
    EXPECT_EQ(int{**element}, 13);
}
