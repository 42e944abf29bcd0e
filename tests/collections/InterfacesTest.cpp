// The default comparator, the tables of the interfaces, and the classes with the types of elements
// that wrap what is behind them.

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <new>
#include <ranges>
#include <string>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

using namespace qx;
using namespace qx::collections::pcom;
using util::Comparator;
using Texts = collections::List<String>;
using Numbers = collections::Map<String, Integer32>;
using NumberSet = collections::Set<Integer32>;

namespace {

/// Has a count and nothing else.
class Plain : public ComObject {};

/// Cannot be compared or hashed.
class Broken : public Object {
public:
    int compareTo(const Object&) const override { throw CastFailedException(); }
    uint32_t hashCode() const override { throw std::bad_alloc(); }
};

/// Place of a virtual member in the table of its class, which a pointer to the member holds.
template <class Member>
std::ptrdiff_t slot(Member member) {
    std::ptrdiff_t encoded = 0;
    std::memcpy(&encoded, &member, sizeof encoded);
    return (encoded - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// The members follow each other in the table; from @p first on, if that is given.
template <class... Members>
void expectInOrder(std::ptrdiff_t first, Members... members) {
    const std::ptrdiff_t slots[] = {slot(members)...};
    for (std::size_t i = 0; i < std::size(slots); ++i)
        EXPECT_EQ(slots[i], (first < 0 ? slots[0] : first) + static_cast<std::ptrdiff_t>(i));
}

template <class... T>
constexpr bool AreInputRanges = ((std::ranges::input_range<T> &&
                                  std::ranges::input_range<const T>)&&...);
static_assert(AreInputRanges<ArrayList, LinkedList, HashSet, HashMap, Map&, List&, Texts, NumberSet,
                             Numbers, collections::StringHashMap, collections::IntegerHashMap>);
static_assert(AreInputRanges<Reference<Texts>, Reference<const NumberSet>, Reference<Set>,
                             Reference<const Collection>, Reference<ConstIterator>,
                             Reference<collections::Iterator<String>>>);
// Nothing else becomes one behind a reference.
static_assert(!std::ranges::range<Reference<String>> && !std::ranges::range<Reference<Object>>);

Reference<Texts> texts(std::initializer_list<const char16_t*> values) {
    auto list = makeReference<Texts>(makeReference<ArrayList>());
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

TEST(Comparator, AsksTheFirstObjectWhenItHasAnOrder) {
    const auto comparator = collections::GetDefaultComparator();
    const auto order = [&](const auto* a, const auto* b) {
        const int result = collections::compareElements(*comparator, a ? a->GetUnknown() : nullptr,
                                                        b ? b->GetUnknown() : nullptr);
        return (result > 0) - (result < 0);
    };
    const String apple(u"apple"), pear(u"pear"), anotherApple(u"apple");
    const String* const none = nullptr;
    Plain plain, other;
    EXPECT_EQ(order(&apple, &pear), -1);
    EXPECT_EQ(order(&apple, &anotherApple), 0);
    EXPECT_EQ(order(&plain, &plain), 0);
    EXPECT_EQ(order(none, none), 0);
    EXPECT_EQ(order(none, &apple), -1); // addresses from here on
    EXPECT_EQ(order(&plain, none), 1);
    EXPECT_EQ(order(&plain, &other) * order(&other, &plain), -1);
    EXPECT_EQ(collections::hashElement(*comparator, apple.GetUnknown()), apple.hashCode());
    EXPECT_EQ(collections::hashElement(*comparator, nullptr), 0u);
    EXPECT_EQ(collections::hashElement(*comparator, plain.GetUnknown()),
              static_cast<uint32_t>(reinterpret_cast<uintptr_t>(plain.GetUnknown())));
    EXPECT_EQ(apple.GetRefCount(), 0u);
}

TEST(Comparator, FailuresBecomeCodesAndComeOutAsExceptions) {
    Comparator comparator;
    const Broken broken;
    EXPECT_EQ(comparator.Compare(nullptr, nullptr, nullptr), result::NullPointer);
    EXPECT_EQ(comparator.Hash(nullptr, nullptr), result::NullPointer);
    qxtest::expectThrowsResult(CastFailedException().getResult(), [&] {
        const String other(u"other");
        collections::compareElements(comparator, broken.GetUnknown(), other.GetUnknown());
    });
    qxtest::expectThrowsResult(result::OutOfMemory,
                               [&] { collections::hashElement(comparator, broken.GetUnknown()); });
    qxtest::expectThrowsResult(result::NullPointer, [] { collections::ownedComparator(nullptr); });
}

TEST(Comparator, IsEqualToComparatorsOfExactlyItsClass) {
    class OtherComparator : public Comparator {};
    const Comparator one, two;
    const OtherComparator other;
    EXPECT_TRUE(one.equals(two));
    EXPECT_EQ(one.compareTo(two), 0);
    EXPECT_EQ(one.hashCode(), two.hashCode());
    EXPECT_FALSE(one.equals(other));
    EXPECT_THROW(one.compareTo(other), CastFailedException);
    EXPECT_LT(one.compare(String(u"a"), String(u"b")), 0);
    EXPECT_EQ(one.hash(String(u"a")), String(u"a").hashCode());
    const auto shared = collections::GetDefaultComparator();
    EXPECT_EQ(shared, CQXCollections::getDefaultComparator());
    Reference<IQXComparator> self;
    EXPECT_EQ(shared->QueryInterface(IQXComparator::Iid, self.putVoid()), 0);
    EXPECT_EQ(self, shared);
}

// The order of the operations in the virtual tables is part of the interfaces.
TEST(InterfaceSlots, FollowTheUnknownSlotsInOrder) {
    expectInOrder(0, &IQXUnknown::QueryInterface, &IQXUnknown::AddRef, &IQXUnknown::Release,
                  &IQXComparator::Compare, &IQXComparator::Hash);
    expectInOrder(3, &ConstIterator::hasNext, &ConstIterator::next);
    expectInOrder(3, static_cast<bool (Collection::*)(IQXUnknown*)>(&Collection::add),
                  &Collection::addAll, &Collection::clear, &Collection::compareTo,
                  &Collection::contains, &Collection::containsAll, &Collection::createIterator,
                  &Collection::createConstIterator, &Collection::equals, &Collection::getSize,
                  &Collection::hashCode, &Collection::remove, &Collection::removeAll,
                  &Collection::retainAll);
    using MakeSet = Reference<Set> (Map::*)();
    using MakeConstSet = Reference<const Set> (Map::*)() const;
    using MakeCollection = Reference<Collection> (Map::*)();
    using MakeConstCollection = Reference<const Collection> (Map::*)() const;
    expectInOrder(3, &Map::clear, &Map::compareTo, &Map::containsKey, &Map::containsValue,
                  MakeConstSet(&Map::createEntrySet), MakeSet(&Map::createEntrySet),
                  MakeConstSet(&Map::createKeySet), MakeSet(&Map::createKeySet),
                  MakeConstCollection(&Map::createValueCollection),
                  MakeCollection(&Map::createValueCollection), &Map::equals, &Map::get,
                  &Map::getSize, &Map::hashCode, &Map::put, &Map::putAll, &Map::remove);
    expectInOrder(3, &MapEntry::compareTo, &MapEntry::equals, &MapEntry::getKey,
                  &MapEntry::getValue, &MapEntry::hashCode, &MapEntry::setValue);
    // Those of derived interfaces, behind what they derive from.
    using ConstView = Reference<const List> (List::*)(int, int) const;
    using View = Reference<List> (List::*)(int, int);
    expectInOrder(-1, static_cast<bool (List::*)(int, IQXUnknown*)>(&List::add),
                  static_cast<bool (List::*)(int, const Collection&)>(&List::addAll),
                  static_cast<Reference<IQXUnknown> (List::*)(int)>(&List::remove),
                  &List::createListIterator, &List::createConstListIterator,
                  ConstView(&List::createSubList), View(&List::createSubList), &List::get,
                  &List::indexOf, &List::lastIndexOf, &List::set);
    expectInOrder(-1, &ConstListIterator::hasPrevious, &ConstListIterator::previous,
                  &ConstListIterator::nextIndex, &ConstListIterator::previousIndex);
    expectInOrder(-1, &ListIterator::add, &ListIterator::set);
}

TEST(ListFacade, IsTheListThatItWraps) {
    const auto wrapped = makeReference<LinkedList>();
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

TEST(ListFacade, ComparesAsWhatItWrapsAndTellsClassesOfElementsApart) {
    const auto list = texts({u"a", u"b"});
    EXPECT_TRUE(list->equals(*texts({u"a", u"b"})));
    EXPECT_EQ(list->compareTo(*texts({u"a", u"b", u"c"})), -1);
    EXPECT_EQ(list->hashCode(), texts({u"a", u"b"})->hashCode());
    ArrayList components;
    components.addAll(*list->getWrapped());
    EXPECT_TRUE(list->equals(components));
    EXPECT_FALSE(list->equals(String(u"a")));
    EXPECT_THROW(list->compareTo(String(u"a")), CastFailedException);
    qxtest::expectThrowsResult(result::NullPointer, [] { Texts(nullptr); });

    const auto wrapped = makeReference<ArrayList>();
    collections::List<qxtest::Item> items(wrapped);
    items.add(new qxtest::Item(1));
    items.add(nullptr);
    EXPECT_EQ(items.indexOf(Reference<qxtest::Item>(new qxtest::Item(1))), 0);
    EXPECT_EQ(items.indexOf(nullptr), 1);
    EXPECT_EQ(items.get(1), nullptr);
    const collections::List<Integer32> numbers(wrapped);
    EXPECT_THROW(numbers.get(0), CastFailedException);
    EXPECT_EQ(numbers.get(1), nullptr);
    EXPECT_THROW(numbers.begin(), CastFailedException);
}

TEST(SetFacade, KeepsEqualElementsOnceAndComparesAsASet) {
    NumberSet numbers(makeReference<HashSet>()), same(makeReference<HashSet>());
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
    const auto wrapped = makeReference<HashMap>();
    Numbers numbers(wrapped), same(makeReference<HashMap>());
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
    using Change = void (*)(HashMap & map, IQXUnknown * key);
    const Change changes[] = {
        [](HashMap& map, IQXUnknown* key) { map.put(key, boxed(5)); },
        [](HashMap& map, IQXUnknown* key) { map.remove(key); },
        [](HashMap& map, IQXUnknown*) { map.put(boxed(99), nullptr); },
        [](HashMap& map, IQXUnknown*) { map.clear(); },
    };
    using NumberMap = collections::Map<Integer32, Object>;
    const auto walk = [](int kind, HashMap& map, const auto& visit) {
        if (kind == 0)
            for (const auto it = map.createEntrySet()->createIterator(); it->hasNext();)
                visit(entryOf(it->next()).getKey());
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
    for (int i = 0; i < 4 * 9; ++i) {
        SCOPED_TRACE(testing::Message() << "change " << i / 9 << " at " << i % 9);
        std::vector<int> seen[4]; // -1 where the walk has thrown
        for (int kind = 0; kind < 4; ++kind) {
            const auto map = makeReference<HashMap>(3, 10.0F);
            for (int key = 0; key < 8; ++key)
                map->put(boxed(key), key % 3 ? boxed(key) : nullptr);
            try {
                walk(kind, *map, [&](IQXUnknown* key) {
                    seen[kind].push_back(numberOf(key));
                    if (static_cast<int>(seen[kind].size()) == i % 9)
                        changes[i / 9](*map, key);
                });
            } catch (const Exception&) {
                seen[kind].push_back(-1);
            }
            EXPECT_EQ(map->GetRefCount(), 1u);
            EXPECT_EQ(seen[kind], seen[0]) << kind;
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
    const auto list = makeReference<LinkedList>();
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
