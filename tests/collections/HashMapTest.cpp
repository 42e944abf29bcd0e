#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include <qx/collections/DefaultComparator.h>
#include <qx/collections/pcom/detail/Sizes.h> // no test fills a table up to its limit
#include <qx/core/Integer.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/MapPlay.h"

// Orders, boundaries, what is counted, and elements and comparators that use a map while it is at
// work. ModelTest plays the ordinary operations and failures.

using namespace qxtest;
using qx::Reference;
using namespace qx::collections::pcom;

using Values = std::vector<int>;

namespace {

/// Keys with these values, in this order, each leading to a value ten times as large.
void putItems(HashMap& map, const Values& keys) {
    for (const int key : keys)
        map.put(item(key), item(key * 10));
}

Values keysOf(const Map& map) { return values(*map.createKeySet()); }

/// A full map: the next new key makes its table larger.
Reference<HashMap> fullMap(const IQXComparator* comparator) {
    auto map = qx::makeReference<HashMap>(comparator, comparator, 3, 1.0F);
    putItems(*map, {1, 4, 2});
    EXPECT_EQ(map->getCapacity(), 3);
    return map;
}

using Operation = std::function<void(HashMap& map)>;

/// A map that has nothing but an entry set: that of a HashMap.
struct PlainMap : AbstractMap {
    PlainMap() = default;
    explicit PlainMap(const IQXComparator* comparator) : AbstractMap(comparator, comparator) {}

    Reference<const Set> createEntrySet() const override {
        return std::as_const(*entries).createEntrySet();
    }
    Reference<Set> createEntrySet() override { return entries->createEntrySet(); }

    const Reference<HashMap> entries{new HashMap()};
};

} // namespace

TEST(HashMap, FindsKeysAsTheComparatorWouldWithoutAskingIt) {
    /// Asks the objects, as the default comparator does, but is another class.
    class Derived : public qx::util::Comparator {};
    /// A string of another class, with a hash of its own.
    struct Text : qx::String {
        using String::String;
        uint32_t hashCode() const override { return 5; }
    };
    const auto derived = qx::makeReference<Derived>();
    HashMap fast, plain(derived, derived, 101, 0.75F);
    const auto text = qx::makeReference<Text>(u"a");
    const auto number = qx::makeReference<qx::Integer32>(5);
    const auto object = qx::makeReference<qx::ComObject>();
    const ArrayList keys{u"a", u"b", u"", text, number, object, u"bB", u"ag", nullptr};
    const auto put = [](HashMap& map, const Element& key) {
        return qx::resultOf([&] { map.put(key, item(map.getSize())); });
    };
    const auto found = [](HashMap& map, const Element& key) {
        int value = -2;
        return std::pair(qx::resultOf([&] { value = valueOf(map.get(key)); }), value);
    };
    for (const Element& key : keys)
        EXPECT_EQ(put(fast, key), put(plain, key));
    EXPECT_EQ(fast.getSize(), plain.getSize());
    for (const Element& key : keys)
        EXPECT_EQ(found(fast, key), found(plain, key));
    // An interface of the string other than its unknown one is no other key.
    qx::String sought(u"b");
    EXPECT_EQ(valueOf(fast.get(static_cast<IQXComparable*>(&sought))), 1);
}

TEST(HashMap, ComparatorIsAskedOnlyForEqualHashes) {
    Values compared;
    int hashed = 0;
    const auto comparator = qx::makeReference<NumberComparator>(
        [&](int a, int b) {
            return compared.insert(compared.end(), {a, b}), a - b;
        },
        [&](int key) { return ++hashed, key % 10; });
    HashMap map(comparator, comparator, 2, 0.75F);
    putItems(map, {1, 3, 13, 5, 7}); // through two growths
    EXPECT_EQ(compared, (Values{3, 13}));
    EXPECT_EQ(hashed, 5);
    map.get(item(3));
    EXPECT_EQ(compared, (Values{3, 13, 3, 3}));
    map.containsKey(item(23));
    EXPECT_EQ(compared.size(), 8u); // both stored ones
    const HashMap copy(map);        // shares the comparators, hashes each key again
    EXPECT_EQ(hashed, 5 + 2 + 5);
}

TEST(HashMap, ViewsAreFixedInWhatTheyShow) {
    HashMap map;
    putItems(map, {1, 2});
    const auto keys = map.createKeySet();
    const auto vals = map.createValueCollection();
    const auto entries = map.createEntrySet();
    for (Collection* view : std::initializer_list<Collection*>{keys, vals, entries})
        EXPECT_THROW(view->add(item(1)), qx::UnsupportedOperationException);
    const HashMap& constant = map;
    EXPECT_EQ(constant.createKeySet()->getSize() + constant.createEntrySet()->getSize() +
                  constant.createValueCollection()->getSize(),
              6);
    const Element element = entries->createIterator()->next();
    EXPECT_TRUE(entries->removeAll(*entries));
    EXPECT_TRUE(map.isEmpty());
    auto& entry = dynamic_cast<MapEntry&>(*element); // outlives its place
    EXPECT_EQ(valueOf(entry.setValue(nullptr)), 20);
    EXPECT_TRUE(entry.compareTo(qx::String()) == 0 && entry.equals(qx::String()));
    EXPECT_EQ(entry.hashCode(), 0u);
}

TEST(HashMap, IsComparedWithMapsOnlyAndASetWithSets) {
    const HashMap map;
    EXPECT_EQ(map.compareTo(map), 0);
    EXPECT_FALSE(map.equals(qx::String()));
    EXPECT_THROW(map.compareTo(qx::String()), qx::CastFailedException);
    const HashSet set;
    EXPECT_TRUE(set.compareTo(set) == 0 && set.hashCode() == 0);
    EXPECT_THROW(set.equals(map), qx::CastFailedException);
    EXPECT_THROW(set.compareTo(ArrayList()), qx::CastFailedException);
}

TEST(HashMap, RefusesTablesThatCannotBe) {
    const auto comparator = qx::collections::GetDefaultComparator();
    for (const int capacity : {0, -1, INT32_MIN})
        EXPECT_THROW(HashMap(capacity, 0.75F), qx::RangeErrorException);
    for (const float load : {0.0F, -0.0F, -0.75F, NAN, -INFINITY}) {
        EXPECT_THROW(HashMap(comparator, comparator, 101, load), qx::RangeErrorException);
        EXPECT_THROW(HashMap(HashMap(), load), qx::RangeErrorException);
    }
    expectEach(qx::result::NullPointer, {[&] { HashMap(comparator, nullptr, 1, 1.0F); }});
    expectEach(qx::result::NullPointer, {[&] { HashMap(nullptr, comparator, 1, 1.0F); }});
    // The table is the first allocation; it fails for want of memory, of which this has no need.
    FailingAllocator allocator(0);
    EXPECT_THROW(HashMap(INT32_MAX, 0.75F), std::bad_alloc);
}

TEST(HashMap, KeysThatGoMayUseTheIteratorThatHeldThem) {
    HashMap map;
    Reference<Iterator> iterator;
    map.put(item(0), nullptr);
    map.put(item(101), nullptr);
    const auto parting = [&] { EXPECT_THROW(iterator->next(), qx::Exception); };
    map.put((new Item(202, parting))->GetUnknown(), nullptr);
    const auto keys = map.createKeySet();
    iterator = keys->createIterator();
    iterator->next();
    map.clear(); // the iterator is the last to hold 202 and 101
    EXPECT_EQ(valueOf(iterator->next()), 101);
    EXPECT_THROW(iterator->next(), qx::Exception);
    EXPECT_EQ(Item::alive(), 1);
}

TEST(HashMap, ComparatorsThatChangeTheMapAreNoticed) {
    std::function<void()> meddle;
    const auto comparator = qx::makeReference<NumberComparator>([&](int a, int b) {
        if (meddle)
            std::exchange(meddle, nullptr)();
        return a - b;
    });
    const Operation changes[] = {
        [](HashMap& map) { map.clear(); },
        [](HashMap& map) { map.remove(item(4)); },
        [](HashMap& map) { map.put(item(9), nullptr); },
    };
    const Operation searches[] = {
        [](HashMap& map) { map.put(item(4), item(5)); },
        [](HashMap& map) { map.get(item(4)); },
        [](HashMap& map) { map.remove(item(4)); },
        [](HashMap& map) { map.containsValue(item(9)); },
    };
    for (const Operation& change : changes) {
        for (const Operation& search : searches) {
            SCOPED_TRACE(testing::Message() << &change - changes << " in " << &search - searches);
            const auto map = fullMap(comparator);
            meddle = [&] { change(*map); };
            EXPECT_THROW(search(*map), qx::Exception);
            EXPECT_EQ(contentOf(*map).size(), static_cast<std::size_t>(map->getSize()));
        }
    }
    // Only the comparison still holds the value, which clears the map when it goes.
    const auto map = fullMap(comparator);
    map->put(item(2), (new Item(20, [&] { map->clear(); }))->GetUnknown());
    meddle = [&] { map->put(item(2), nullptr); };
    EXPECT_THROW(map->containsValue(item(9)), qx::Exception);
    EXPECT_EQ(Item::alive(), 0);
}

TEST(HashMap, LongChainsAreReleasedWithoutRecursion) {
    constexpr int Length = 99999, GrownLength = 2 * Length + 1, Keys = 10 * Length + 1;
    // Hashes that lie in many buckets, until the table grows: then all are in one. No two keys are
    // equal.
    uint32_t hash = 0;
    const auto comparator = qx::makeReference<NumberComparator>(
        [](int, int) { return 1; },
        [&](int) {
            return static_cast<int>(
                std::exchange(hash, hash > UINT32_MAX - GrownLength ? 0 : hash + GrownLength));
        });
    qx::makeReference<HashMap>()->createEntrySet()->createIterator(); // what is made once, is
    const int64_t blocks = liveBlocks();
    for (const bool isCleared : {true, false}) {
        auto map = qx::makeReference<HashMap>(comparator.get(), comparator.get(), Length, 10.0F);
        for (int i = 0; i < Keys; ++i)
            map->put(nullptr, nullptr);
        EXPECT_EQ(map->getCapacity(), GrownLength);
        const Element entry = map->createEntrySet()->createIterator()->next();
        if (isCleared)
            map->clear();
        map.reset();
    }
    EXPECT_EQ(liveBlocks(), blocks);
}

TEST(TableSize, IsLimitedToWhatASizeCanSay) {
    using namespace qx::collections::pcom::detail;
    EXPECT_EQ(tableLengthFor(3), 11);
    EXPECT_EQ(tableLengthFor(6), 12);
    EXPECT_EQ(tableLengthFor(INT32_MAX / 2), INT32_MAX - 1);
    EXPECT_THROW(tableLengthFor(INT32_MAX / 2 + 1), std::length_error);
    EXPECT_EQ(grownTableLength(INT32_MAX / 2), INT32_MAX);
    EXPECT_THROW(grownTableLength(INT32_MAX / 2 + 1), std::length_error);
    EXPECT_EQ(tableThreshold(INT32_MAX, 1.0F), INT32_MAX); // 2^31 in single precision
    EXPECT_EQ(tableThreshold(1 << 30, 1.9999999F), INT32_MAX - 127);
    EXPECT_EQ(tableThreshold(101, INFINITY), INT32_MAX);
}

TEST(AbstractMap, GoesThroughItsEntrySet) {
    PlainMap map;
    putItems(*map.entries, {1, 2, 3});
    EXPECT_TRUE(map.getSize() == 3 && valueOf(map.get(item(2))) == 20 && !map.get(item(4)));
    EXPECT_TRUE(map.containsKey(item(3)) && !map.containsKey(item(30)));
    EXPECT_TRUE(map.containsValue(item(30)) && !map.containsValue(item(3)));
    EXPECT_TRUE(map.equals(*map.entries) && map.entries->equals(map) && map.hashCode() == 0);
    EXPECT_EQ(values(*std::as_const(map).createKeySet()), (Values{3, 2, 1}));
    EXPECT_EQ(values(*map.createValueCollection()), (Values{30, 20, 10}));
    EXPECT_EQ(map.remove(item(4)), nullptr);
    EXPECT_EQ(valueOf(map.remove(item(2))), 20);
    EXPECT_TRUE(map.createKeySet()->remove(item(1)));
    EXPECT_EQ(keysOf(map), Values{3});
    EXPECT_THROW(map.putAll(map), qx::UnsupportedOperationException);
    EXPECT_THROW(map.put(item(1), item(2)), qx::UnsupportedOperationException);
    map.clear();
    EXPECT_TRUE(map.entries->isEmpty());
}

TEST(AbstractMap, RemovesEveryEqualKeyAndReturnsTheLastValue) {
    const auto indifferent = qx::makeReference<NumberComparator>([](int, int) { return 0; });
    PlainMap map(indifferent);
    putItems(*map.entries, {1, 2, 3});
    EXPECT_EQ(valueOf(map.remove(nullptr)), 10);
    EXPECT_TRUE(map.isEmpty());
}

TEST(HashSet, TakesElementsComparatorAndLengthFromOthers) {
    const auto list = listOf({11, 12, 21, 32, 3, -2}); // 2^32 - 2 is 66 modulo 101
    const auto comparator = qx::makeReference<NumberComparator>(
        [](int a, int b) { return a % 10 - b % 10; }, [](int number) { return number % 10; });
    EXPECT_EQ(values(HashSet(*list)), (Values{-2, 32, 21, 12, 11, 3}));
    const HashSet set(*list, comparator);
    EXPECT_EQ(values(set), (Values{-2, 3, 12, 11}));
    HashSet copy(set);
    EXPECT_FALSE(copy.add(item(41)));
    EXPECT_TRUE(HashSet(static_cast<const Collection&>(set)).add(item(41)));
    copy.clear();
    EXPECT_EQ(set.getSize(), 4);
    EXPECT_TRUE(HashSet(comparator).isEmpty());
}
