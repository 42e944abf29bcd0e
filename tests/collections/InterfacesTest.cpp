// The default comparator, the tables of the interfaces, and the classes with the types of elements
// that wrap what is behind them.

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <new>
#include <string>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

using namespace qx;
using namespace qx::collections::pcom;
using namespace qxtest;
using util::Comparator;
using Texts = collections::List<String>;
using Numbers = collections::Map<String, Integer32>;
using NumberSet = collections::Set<Integer32>;

namespace {

/// Has a count and nothing else.
class Plain : public ComObject {};

/// Cannot be compared or hashed.
struct Broken : Object {
    int compareTo(const Object&) const override { throw CastFailedException(); }
    uint32_t hashCode() const override { throw std::bad_alloc(); }
};

/// Place of a virtual member in the table of its class, which a pointer to the member holds: with a
/// bit that says so, which is no part of the place, there or in the adjustment.
std::ptrdiff_t slot(auto member) {
    std::ptrdiff_t encoded = 0;
    std::memcpy(&encoded, &member, sizeof encoded);
    return encoded / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// The members follow each other in the table; from @p first on, if that is given.
void expectInOrder(std::ptrdiff_t first, auto... members) {
    const std::ptrdiff_t slots[] = {slot(members)...};
    for (std::size_t i = 0; i < std::size(slots); ++i)
        EXPECT_EQ(slots[i], (first < 0 ? slots[0] : first) + static_cast<std::ptrdiff_t>(i));
}

std::string joined(const collections::Collection<String>& collection) {
    std::string text;
    for (const auto& element : collection)
        text += (element ? element->toUtf8() : "-") + ' ';
    return text;
}

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
    Broken broken;
    uint32_t hash = 5;
    EXPECT_EQ(broken.HashCode(&hash), result::OutOfMemory);
    EXPECT_EQ(hash, 0u);
    EXPECT_EQ(comparator.Compare(nullptr, nullptr, nullptr), result::NullPointer);
    EXPECT_EQ(comparator.Hash(nullptr, nullptr), result::NullPointer);
    using namespace collections;
    const String other(u"other");
    const auto compare = [&] {
        compareElements(comparator, broken.GetUnknown(), other.GetUnknown());
    };
    expectEach(CastFailedException().getResult(), {compare});
    expectEach(result::OutOfMemory, {[&] { hashElement(comparator, broken.GetUnknown()); }});
    expectEach(result::NullPointer, {[] { ownedComparator(nullptr); }});
}

TEST(Comparator, IsEqualToComparatorsOfExactlyItsClass) {
    class OtherComparator : public Comparator {};
    const Comparator one, two;
    const OtherComparator other;
    EXPECT_TRUE(one.equals(two) && one.compareTo(two) == 0 && one.hashCode() == two.hashCode());
    EXPECT_FALSE(one.equals(other));
    EXPECT_THROW(one.compareTo(other), CastFailedException);
    EXPECT_LT(one.compare(String(u"a"), String(u"b")), 0);
    EXPECT_EQ(one.hash(String(u"a")), String(u"a").hashCode());
    const auto shared = collections::GetDefaultComparator();
    EXPECT_EQ(shared, CQXCollections::getDefaultComparator());
    EXPECT_EQ(shared.query<IQXComparator>(), shared);
}

// The order of the operations in the virtual tables is part of the interfaces.
TEST(InterfaceSlots, FollowTheUnknownSlotsInOrder) {
    expectInOrder(0, &IQXUnknown::QueryInterface, &IQXUnknown::AddRef, &IQXUnknown::Release,
                  &IQXComparator::Compare, &IQXComparator::Hash);
    expectInOrder(3, &ConstIterator::hasNext, &ConstIterator::next);
    using Has = bool (Collection::*)(const IQXUnknown*) const;
    using Drops = bool (Collection::*)(const IQXUnknown*);
    expectInOrder(3, static_cast<bool (Collection::*)(IQXUnknown*)>(&Collection::add),
                  &Collection::addAll, &Collection::clear, &Collection::compareTo,
                  Has(&Collection::contains), &Collection::containsAll, &Collection::createIterator,
                  &Collection::createConstIterator, &Collection::equals, &Collection::getSize,
                  &Collection::hashCode, Drops(&Collection::remove), &Collection::removeAll,
                  &Collection::retainAll);
    using MakeSet = Reference<Set> (Map::*)();
    using MakeConstSet = Reference<const Set> (Map::*)() const;
    using MakeCollection = Reference<Collection> (Map::*)();
    using MakeConstCollection = Reference<const Collection> (Map::*)() const;
    using MapHas = bool (Map::*)(const IQXUnknown*) const;
    using Gets = Reference<IQXUnknown> (Map::*)(const IQXUnknown*) const;
    using Puts = Reference<IQXUnknown> (Map::*)(IQXUnknown*, IQXUnknown*);
    using Takes = Reference<IQXUnknown> (Map::*)(const IQXUnknown*);
    expectInOrder(3, &Map::clear, &Map::compareTo, MapHas(&Map::containsKey),
                  MapHas(&Map::containsValue), MakeConstSet(&Map::createEntrySet),
                  MakeSet(&Map::createEntrySet), MakeConstSet(&Map::createKeySet),
                  MakeSet(&Map::createKeySet), MakeConstCollection(&Map::createValueCollection),
                  MakeCollection(&Map::createValueCollection), &Map::equals, Gets(&Map::get),
                  &Map::getSize, &Map::hashCode, Puts(&Map::put), &Map::putAll,
                  Takes(&Map::remove));
    using Replaces = Reference<IQXUnknown> (MapEntry::*)(IQXUnknown*);
    expectInOrder(3, &MapEntry::compareTo, &MapEntry::equals, &MapEntry::getKey,
                  &MapEntry::getValue, &MapEntry::hashCode, Replaces(&MapEntry::setValue));
    // Those of derived interfaces, behind what they derive from.
    using ConstView = Reference<const List> (List::*)(int, int) const;
    using View = Reference<List> (List::*)(int, int);
    expectInOrder(-1, static_cast<bool (List::*)(int, IQXUnknown*)>(&List::add),
                  static_cast<bool (List::*)(int, const Collection&)>(&List::addAll),
                  static_cast<Reference<IQXUnknown> (List::*)(int)>(&List::remove),
                  &List::createListIterator, &List::createConstListIterator,
                  ConstView(&List::createSubList), View(&List::createSubList), &List::get,
                  static_cast<int (List::*)(const IQXUnknown*) const>(&List::indexOf),
                  static_cast<int (List::*)(const IQXUnknown*) const>(&List::lastIndexOf),
                  static_cast<Reference<IQXUnknown> (List::*)(int, IQXUnknown*)>(&List::set));
    expectInOrder(-1, &ConstListIterator::hasPrevious, &ConstListIterator::previous,
                  &ConstListIterator::nextIndex, &ConstListIterator::previousIndex);
    expectInOrder(-1, static_cast<bool (ListIterator::*)(IQXUnknown*)>(&ListIterator::add),
                  static_cast<void (ListIterator::*)(IQXUnknown*)>(&ListIterator::set));
}

TEST(Elements, AreHandedOverAsObjectsReferencesAndTexts) {
    const auto number = makeReference<Double>(1.5);
    const auto list = makeReference<ArrayList>({u"x", nullptr, "y", number});
    EXPECT_TRUE(list->equals(LinkedList{u"x", nullptr, "y", number}));
    EXPECT_EQ((HashSet{u"x", "x", number}.getSize()), 2);
    EXPECT_EQ(list->get(3), number->GetUnknown());
    EXPECT_EQ(number->GetRefCount(), 2u);
    list->add(3, new Double(2.5));
    list->set(2, std::u16string(u"z"));
    list->createListIterator(0)->add(u"first");
    EXPECT_TRUE(list->indexOf("z") == 3 && list->lastIndexOf(Double(2.5)) == 4);
    EXPECT_TRUE(list->remove(u"x") && list->contains(String(u"z")) && list->remove(nullptr));
    EXPECT_EQ(list->getSize(), 4);

    const auto map = makeReference<HashMap>({{u"a", number}, {number, u"b"}});
    EXPECT_EQ(map->peek("a"), number->GetUnknown());
    EXPECT_TRUE(map->containsKey(u"a") && map->containsKey(Double(1.5)) && !map->containsKey(u"b"));
    EXPECT_EQ(map->put(u"a", u"c"), number->GetUnknown());
    map->putNew(nullptr, number);
    EXPECT_TRUE(map->containsValue(u"c") && map->get(nullptr) == number->GetUnknown());
    EXPECT_FALSE(map->get(u"c") || map->remove(u"c"));

    // In braces too, a comparator is what compares, and a collection what a facade wraps.
    EXPECT_TRUE(ArrayList{collections::GetDefaultComparator().get()}.isEmpty());
    EXPECT_TRUE(collections::List<Object>{makeReference<LinkedList>()}.isEmpty());
}

TEST(Sorting, KeepsTheOrderOfEqualElementsAndAllOfThemWhateverTheOrderSays) {
    const auto byLength = [](const String& a, const String& b) {
        return a.getLength() - b.getLength();
    };
    Texts list{u"bb", u"a", nullptr, u"cc", u"b", u"aa", nullptr};
    const auto walk = list.createListIterator(0);
    list.sort(byLength);
    EXPECT_EQ(joined(list), "- - a b bb cc aa ");
    EXPECT_THROW(walk->next(), Exception);
    const auto second = list.createListIterator(0);
    list.sort([&](const auto& a, const auto& b) { return byLength(a, b) < 0; });
    EXPECT_EQ(second->next(), nullptr) << "nothing has changed";
    list.createSubList(2, 6)->sort();
    EXPECT_EQ(joined(list), "- - a b bb cc aa ");
    list.sort(makeReference<Comparator>());
    EXPECT_EQ(joined(list), "- - a aa b bb cc ");

    EXPECT_THROW(list.sort([](auto&, auto&) -> bool { throw CastFailedException(); }),
                 CastFailedException);
    EXPECT_EQ(joined(list), "- - a aa b bb cc ");
    unsigned int state = 1;
    list.sort([&](auto&, auto&) { return (state = state * 69069 + 1) >> 31 != 0; });
    EXPECT_TRUE(list.containsAll(Texts{u"a", u"aa", u"b", u"bb", u"cc"}));
    EXPECT_THROW(list.sort([&](auto&, auto&) { return list.remove(0) == nullptr; }), Exception);
}

TEST(ListFacade, IsTheListThatItWraps) {
    const auto wrapped = makeReference<LinkedList>();
    Texts list(wrapped);
    EXPECT_TRUE(list.add(u"b") && list.add(0, u"a") && list.addAll(2, Texts{u"c", u"d", u"c"}));
    EXPECT_EQ(joined(Texts(wrapped)), "a b c d c ");
    EXPECT_EQ(list.indexOf(u"c") * 10 + list.lastIndexOf(u"c"), 24);
    EXPECT_TRUE(list.contains(u"d") && *list.get(3) == u"d");
    EXPECT_TRUE(*list.set(1, u"x") == u"b" && *list.remove(0) == u"a" && list.remove(u"c"));
    EXPECT_EQ(joined(list), "x d c ");
    list.createSubList(1, 3)->add(u"y");
    EXPECT_EQ(joined(list), "x d c y ");
    EXPECT_TRUE(list.removeAll(Texts{u"d", u"q"}) && list.retainAll(Texts{u"x", u"y"}));
    EXPECT_EQ(joined(list), "x y ");
    EXPECT_TRUE(list.containsAll(Texts{u"y"}) && !list.containsAll(Texts{u"d"}));

    const auto walk = list.createListIterator(1);
    EXPECT_TRUE(walk->nextIndex() == 1 && *walk->previous() == u"x");
    walk->set(new String(u"X"));
    EXPECT_EQ(*walk->next(), u"X");
    walk->add(new String(u"n"));
    EXPECT_TRUE(walk->previousIndex() == 1 && *walk->next() == u"y");
    walk->remove();
    EXPECT_EQ(joined(list), "X n ");
    const auto remover = list.createIterator();
    remover->next();
    remover->remove();
    const auto reader = list.createConstListIterator(1);
    EXPECT_TRUE(*reader->previous() == u"n" && !reader->hasPrevious());
    list.clear();
    EXPECT_TRUE(list.isEmpty() && wrapped->isEmpty());
}

TEST(ListFacade, ComparesAsWhatItWrapsAndTellsClassesOfElementsApart) {
    const Texts list{u"a", u"b"};
    EXPECT_TRUE(list.equals(Texts{u"a", u"b"}) && list.equals(ArrayList{u"a", u"b"}));
    EXPECT_EQ(list.compareTo(Texts{u"a", u"b", u"c"}), -1);
    EXPECT_EQ(list.hashCode(), (Texts{u"a", u"b"}.hashCode()));
    EXPECT_FALSE(list.equals(String(u"a")));
    EXPECT_THROW(list.compareTo(String(u"a")), CastFailedException);
    expectEach(result::NullPointer, {[] { Texts(nullptr); }});

    const collections::List<Item> items{makeReference<Item>(1), nullptr};
    EXPECT_EQ(items.indexOf(makeReference<Item>(1)), 0);
    EXPECT_EQ(items.indexOf(nullptr), 1);
    EXPECT_EQ(items.get(1), nullptr);
    collections::List<Integer32> numbers(dynamic_cast<List*>(items.getWrapped()));
    expectEach<CastFailedException>(
        {[&] { numbers.get(0); }, [&] { numbers.remove(0); }, [&] { numbers.set(0, 7); }});
    EXPECT_EQ(items.indexOf(makeReference<Item>(1)), 0);
    EXPECT_EQ(numbers.get(1), nullptr);
    EXPECT_THROW(numbers.begin(), CastFailedException);
}

TEST(SetFacade, KeepsEqualElementsOnceAndComparesAsASet) {
    NumberSet numbers{7}, same{-7, 7, -7};
    EXPECT_TRUE(!numbers.add(7) && numbers.add(-7) && numbers.getSize() == 2);
    EXPECT_TRUE(numbers.equals(same));
    same.remove(Integer32(7));
    EXPECT_FALSE(numbers.equals(same));
    EXPECT_THROW(numbers.equals(String(u"7")), CastFailedException);
}

TEST(MapFacade, IsTheMapThatItWraps) {
    const auto wrapped = makeReference<HashMap>();
    Numbers numbers(wrapped);
    EXPECT_EQ(numbers.put(u"one", makeReference<Integer32>(10)), nullptr);
    EXPECT_EQ(*numbers.put(makeReference<String>(u"one"), 1), 10);
    EXPECT_EQ(numbers.put("none", nullptr), nullptr);
    EXPECT_TRUE(wrapped->getSize() == 2 && *numbers.get("one") == 1 && !numbers.get(u"none"));
    EXPECT_TRUE(numbers.containsKey(u"none") && numbers.containsValue(nullptr));
    EXPECT_TRUE(numbers.containsValue(1) && !numbers.containsValue(10));
    std::string all;
    for (const auto& [name, number] : numbers)
        all += name->toUtf8() + (number ? "=" + number->toString().toUtf8() : "") + ' ';
    EXPECT_TRUE(all == "one=1 none " || all == "none one=1 ") << all;
    const auto walk = wrapped->createKeySet()->createConstIterator();
    walk->next();
    EXPECT_EQ(std::ranges::distance(walk), 1) << "what is left";

    Numbers same{{u"one", 1}, {"none", nullptr}}, copy;
    copy.putAll(numbers);
    EXPECT_TRUE(same.equals(numbers) && copy.compareTo(numbers) == 0 && wrapped->equals(*wrapped));
    numbers.createKeySet()->remove(u"none");
    EXPECT_TRUE(numbers.getSize() == 1 && !same.equals(numbers));
    int sum = 0;
    for (const auto& value : numbers.createValueCollection()) // a temporary is kept for the loop
        sum += *value;
    EXPECT_EQ(sum, 1);
    EXPECT_TRUE(*numbers.remove(u"one") == 1 && numbers.isEmpty());
}

TEST(Ranges, OfMapsGoAsTheirIteratorsDo) {
    using Change = void (*)(HashMap & map, IQXUnknown * key);
    const Change changes[] = {
        [](HashMap& map, IQXUnknown* key) { map.put(key, item(5)); },
        [](HashMap& map, IQXUnknown* key) { map.remove(key); },
        [](HashMap& map, IQXUnknown*) { map.put(item(99), nullptr); },
        [](HashMap& map, IQXUnknown*) { map.clear(); },
    };
    using Items = collections::Map<Item, Object>;
    const auto walk = [](int kind, HashMap& map, const auto& visit) {
        if (kind == 0)
            for (const auto it = map.createEntrySet()->createIterator(); it->hasNext();)
                visit(entryOf(it->next()).getKey());
        if (kind == 1)
            for (const auto& [key, value] : map)
                visit(key);
        if (kind == 2)
            for (const auto& [key, value] : Items(&map))
                visit(key->GetUnknown());
        if (kind == 3)
            for (const auto& key : Items(&map).createKeySet())
                visit(key->GetUnknown());
    };
    for (int i = 0; i < 4 * 9; ++i) {
        SCOPED_TRACE(testing::Message() << "change " << i / 9 << " at " << i % 9);
        std::vector<int> seen[4]; // -1 where the walk has thrown
        for (int kind = 0; kind < 4; ++kind) {
            const auto map = makeReference<HashMap>(3, 10.0F);
            for (int key = 0; key < 8; ++key)
                map->put(item(key), item(key % 3 ? key : Null));
            try {
                walk(kind, *map, [&](IQXUnknown* key) {
                    seen[kind].push_back(valueOf(key));
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
        list->add(i % 4 == 3 ? nullptr : i / 2 % 2 ? new Behind(i) : new Integer32(i));
    list->add(u"x");
    list->add(new Integer32(13));
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
