#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

#include <qx/collections/DefaultComparator.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/MapEntry.h>
#include <qx/collections/pcom/detail/Sizes.h> // no test fills a table up to its limit
#include <qx/core/Exception.h>
#include <qx/core/Integer.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/Items.h"

// Orders, boundaries and what is counted. HashMapFailureTest has what goes wrong, ModelTest plays
// the ordinary operations.

using namespace qxtest;
using qx::Reference;
using namespace qx::collections::pcom;

using Values = std::vector<int>;

namespace {

/// Keys with these values, in this order, each leading to a value ten times as large.
template <class M>
void putItems(M& map, const Values& keys) {
    for (const int key : keys)
        map.put(item(key), item(key * 10));
}

Values keysOf(const Map& map) { return values(*map.createKeySet()); }

const MapEntry& entryAt(const Element& element) { return dynamic_cast<const MapEntry&>(*element); }

/// A map that has nothing but an entry set: that of a HashMap.
class PlainMap : public AbstractMap {
public:
    PlainMap() = default;
    explicit PlainMap(const IQXComparator* comparator) : AbstractMap(comparator, comparator) {}

    Reference<const Set> createEntrySet() const override {
        return std::as_const(*m_entries).createEntrySet();
    }
    Reference<Set> createEntrySet() override { return m_entries->createEntrySet(); }

    HashMap& entries() { return *m_entries; }

private:
    const Reference<HashMap> m_entries{new HashMap()};
};

/// Claims a size and has no entries.
class ClaimingMap : public PlainMap {
public:
    explicit ClaimingMap(int size) : m_size(size) {}
    int getSize() const override { return m_size; }

private:
    int m_size;
};

} // namespace

TEST(HashMap, HashesAreUnsigned) {
    HashMap map(101, 0.75F);
    putItems(map, {60, -2, 70}); // 2^32 - 2 is 66 modulo 101
    EXPECT_EQ(keysOf(map), (Values{70, -2, 60}));
}

TEST(HashMap, FindsKeysAsTheComparatorWouldWithoutAskingIt) {
    /// Asks the objects, as the default comparator does, but is another class.
    class Derived : public qx::util::Comparator {};
    /// A string of another class, with a hash of its own.
    class Text : public qx::String {
    public:
        using String::String;
        uint32_t hashCode() const override { return 5; }
    };
    const auto derived = qx::makeReference<Derived>();
    HashMap fast, plain(derived, derived, 101, 0.75F);
    const Element keys[] = {
        (new qx::String(u"a"))->GetUnknown(),
        (new qx::String(u"b"))->GetUnknown(),
        (new qx::String())->GetUnknown(),
        (new Text(u"a"))->GetUnknown(),
        (new qx::Integer32(5))->GetUnknown(),
        (new qx::ComObject())->GetUnknown(),
        (new qx::String(u"bB"))->GetUnknown(),
        (new qx::String(u"ag"))->GetUnknown(),
        Element(),
    };
    for (const Element& key : keys) {
        int32_t results[2] = {};
        for (HashMap* map : {&fast, &plain}) {
            int32_t& result = results[map == &plain];
            result = qx::resultOf([&] { map->put(key, item(map->getSize())); });
        }
        EXPECT_EQ(results[0], results[1]);
    }
    EXPECT_EQ(fast.getSize(), plain.getSize());
    for (const Element& key : keys) {
        Element found[2];
        const int32_t fastResult = qx::resultOf([&] { found[0] = fast.get(key); });
        EXPECT_EQ(fastResult, qx::resultOf([&] { found[1] = plain.get(key); }));
        EXPECT_EQ(valueOf(found[0]), valueOf(found[1]));
    }
    // An interface of the string other than its unknown one is no other key.
    qx::String sought(u"b");
    EXPECT_EQ(valueOf(fast.get(static_cast<IQXComparable*>(&sought))), 1);
}

TEST(HashMap, ComparatorIsAskedOnlyForEqualHashes) {
    /// Hashes modulo 10, and lists what it compares.
    class Listing : public qx::util::Comparator {
    public:
        int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) override {
            compared.insert(compared.end(), {valueOf(a), valueOf(b)});
            return Comparator::Compare(a, b, result);
        }
        int32_t Hash(const IQXUnknown* a, uint32_t* result) override {
            ++hashed;
            *result = static_cast<uint32_t>(valueOf(a)) % 10;
            return 0;
        }
        Values compared;
        int hashed = 0;
    };
    const auto keys = qx::makeReference<Listing>(), vals = qx::makeReference<Listing>();
    HashMap map(keys, vals, 2, 0.75F);
    putItems(map, {1, 3, 13, 5, 7}); // through two growths
    EXPECT_EQ(keys->compared, (Values{3, 13}));
    EXPECT_EQ(keys->hashed, 5);
    map.get(item(3));
    EXPECT_EQ(keys->compared, (Values{3, 13, 3, 3}));
    map.containsKey(item(23));
    EXPECT_EQ(keys->compared.size(), 8u); // both stored ones
    EXPECT_EQ(vals->hashed + static_cast<int>(vals->compared.size()), 0);
    EXPECT_TRUE(map.containsValue(item(130)));
    EXPECT_EQ(vals->compared.back(), 130);
    EXPECT_EQ(vals->hashed, 0);
    const HashMap copy(map); // shares the comparators, hashes each key again
    EXPECT_EQ(keys->hashed, 5 + 2 + 5);
}

TEST(HashMap, EntriesOutliveTheirPlaceInTheMap) {
    auto map = qx::makeReference<HashMap>();
    putItems(*map, {1, 102});
    const auto iterator = map->createEntrySet()->createIterator();
    const Element element = iterator->next();
    auto& entry = const_cast<MapEntry&>(entryAt(element));
    EXPECT_EQ(valueOf(entry.setValue(item(7))), 1020); // not counted as a change
    EXPECT_EQ(valueOf(map->get(item(102))), 7);
    iterator->next();
    map->clear();
    map.reset();
    EXPECT_EQ(valueOf(entry.getKey()), 102);
    EXPECT_EQ(valueOf(entry.setValue(nullptr)), 7);
    EXPECT_EQ(entry.getValue(), nullptr);
    EXPECT_EQ(entry.compareTo(qx::String()), 0);
    EXPECT_TRUE(entry.equals(qx::String()));
    EXPECT_EQ(entry.hashCode(), 0u);
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
    EXPECT_TRUE(entries->removeAll(*entries));
    EXPECT_TRUE(map.isEmpty());
}

TEST(HashMap, ComparesValuesKeyByKeyThenSizes) {
    using Entries = std::vector<std::pair<int, int>>;
    const struct {
        Entries left, right;
        int order;
        bool equal;
    } rows[] = {
        {{}, {}, 0, true},
        {{{1, 1}, {2, 2}}, {{2, 2}, {1, 1}}, 0, true},
        {{{1, 1}}, {{1, 2}}, -1, false},
        {{{1, 3}}, {{1, 2}}, 1, false},
        {{{1, 1}, {2, 9}}, {{1, 2}, {2, 8}}, 1, false}, // key 2 comes first
        {{{1, 1}}, {{1, 1}, {2, 2}, {3, 3}}, -2, false},
        {{}, {{1, 1}}, -1, false},
        {{{1, Null}}, {{1, Null}}, 0, true},
        {{{1, Null}}, {{1, 1}}, -1, false},
        {{{1, Null}}, {{2, Null}}, 1, false},
        {{{2, Null}}, {{1, Null}}, 1, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        HashMap left, right(7, 2.0F);
        for (const auto& [key, value] : row.left)
            left.put(item(key), item(value));
        for (const auto& [key, value] : row.right)
            right.put(item(key), item(value));
        EXPECT_EQ(left.compareTo(right), row.order);
        EXPECT_EQ(left.equals(right), row.equal);
        EXPECT_EQ(left.hashCode(), 0u);
    }
    const HashMap map;
    EXPECT_EQ(map.compareTo(map), 0);
    EXPECT_FALSE(map.equals(qx::String()));
    EXPECT_THROW(map.compareTo(qx::String()), qx::CastFailedException);
}

TEST(HashMap, CopiesHaveRoomForTwiceTheEntriesOrTheSameTable) {
    const auto comparator = qx::collections::GetDefaultComparator();
    HashMap map(comparator, comparator, 3, 2.0F);
    putItems(map, {1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(HashMap(map, 1.0F).getCapacity(), 14);
    EXPECT_EQ(HashMap(map, comparator, comparator, 1.0F).getCapacity(), 14);
    HashMap copy(map);
    putItems(copy, {8, 9, 10, 11, 12, 13, 14});
    EXPECT_EQ(copy.getCapacity(), 7);
    copy.put(item(15), nullptr);
    EXPECT_EQ(copy.getCapacity(), 15);
}

TEST(HashMap, RefusesTablesThatCannotBe) {
    const auto comparator = qx::collections::GetDefaultComparator();
    const struct {
        int capacity;
        float load;
    } rows[] = {{0, 0.75F}, {-1, 0.75F},   {INT32_MIN, 0.75F}, {1, 0.0F},
                {1, -0.0F}, {101, -0.75F}, {101, NAN},         {101, -INFINITY}};
    for (const auto& row : rows) {
        EXPECT_THROW(HashMap(row.capacity, row.load), qx::RangeErrorException);
        EXPECT_THROW(HashMap(comparator, comparator, row.capacity, row.load),
                     qx::RangeErrorException);
        if (row.capacity > 0) {
            EXPECT_THROW(HashMap(HashMap(), row.load), qx::RangeErrorException);
        }
    }
    EXPECT_THROW(HashMap(ClaimingMap(INT32_MAX / 2 + 1), 0.75F), std::length_error);
    expectThrowsResult(qx::result::NullPointer, [&] { HashMap(comparator, nullptr, 1, 1.0F); });
    expectThrowsResult(qx::result::NullPointer, [&] { HashMap(nullptr, comparator, 1, 1.0F); });
    // The table is the first allocation; it fails for want of memory, of which this has no need.
    FailingAllocator allocator(0);
    EXPECT_THROW(HashMap(INT32_MAX, 0.75F), std::bad_alloc);
}

TEST(TableSize, IsLimitedToWhatASizeCanSay) {
    using namespace qx::collections::pcom::detail;
    EXPECT_EQ(tableLengthFor(3), 11);
    EXPECT_EQ(tableLengthFor(6), 12);
    EXPECT_EQ(tableLengthFor(INT32_MAX / 2), INT32_MAX - 1);
    EXPECT_THROW(tableLengthFor(INT32_MAX / 2 + 1), std::length_error);
    EXPECT_THROW(tableLengthFor(INT32_MAX), std::length_error);
    EXPECT_EQ(grownTableLength(407), 815);
    EXPECT_EQ(grownTableLength(INT32_MAX / 2), INT32_MAX);
    EXPECT_THROW(grownTableLength(INT32_MAX / 2 + 1), std::length_error);
    EXPECT_EQ(tableThreshold(101, 0.75F), 75);
    EXPECT_EQ(tableThreshold(203, 0.75F), 152);
    EXPECT_EQ(tableThreshold(1, 0.75F), 0);
    EXPECT_EQ(tableThreshold(INT32_MAX, 1.0F), INT32_MAX); // 2^31 in single precision
    EXPECT_EQ(tableThreshold(1 << 30, 1.9999999F), INT32_MAX - 127);
    EXPECT_EQ(tableThreshold(101, INFINITY), INT32_MAX);
}

TEST(AbstractMap, GoesThroughItsEntrySet) {
    PlainMap map;
    putItems(map.entries(), {1, 2, 3});
    EXPECT_EQ(map.getSize(), 3);
    EXPECT_EQ(valueOf(map.get(item(2))), 20);
    EXPECT_EQ(map.get(item(4)), nullptr);
    EXPECT_TRUE(map.containsKey(item(3)));
    EXPECT_FALSE(map.containsKey(item(30)));
    EXPECT_TRUE(map.containsValue(item(30)));
    EXPECT_TRUE(map.equals(map.entries()));
    EXPECT_TRUE(map.entries().equals(map));
    EXPECT_EQ(map.hashCode(), 0u);
    EXPECT_EQ(values(*std::as_const(map).createKeySet()), (Values{3, 2, 1}));
    EXPECT_EQ(values(*map.createValueCollection()), (Values{30, 20, 10}));
    EXPECT_EQ(map.remove(item(4)), nullptr);
    EXPECT_EQ(valueOf(map.remove(item(2))), 20);
    EXPECT_TRUE(map.createKeySet()->remove(item(1)));
    EXPECT_EQ(keysOf(map), Values{3});
    EXPECT_THROW(map.putAll(map), qx::UnsupportedOperationException);
    EXPECT_THROW(map.put(item(1), item(2)), qx::UnsupportedOperationException);
    map.clear();
    EXPECT_TRUE(map.entries().isEmpty());
}

TEST(AbstractMap, RemovesEveryEqualKeyAndReturnsTheLastValue) {
    /// Tells no keys apart.
    class Indifferent : public qx::util::Comparator {
    public:
        int32_t Compare(const IQXUnknown*, const IQXUnknown*, int* result) override {
            return *result = 0;
        }
    };
    const auto comparator = qx::makeReference<Indifferent>();
    PlainMap map(comparator);
    putItems(map.entries(), {1, 2, 3});
    EXPECT_EQ(valueOf(map.remove(nullptr)), 10);
    EXPECT_TRUE(map.isEmpty());
}

TEST(HashSet, IsComparedWithSetsOnly) {
    const HashSet set;
    EXPECT_EQ(set.compareTo(set), 0);
    EXPECT_EQ(set.hashCode(), 0u);
    EXPECT_THROW(set.equals(HashMap()), qx::CastFailedException);
    EXPECT_THROW(set.compareTo(ArrayList()), qx::CastFailedException);
}

TEST(HashSet, TakesElementsComparatorAndLengthFromOthers) {
    /// Equal when equal modulo 10.
    class LastDigit : public qx::util::Comparator {
    public:
        int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) override {
            *result = valueOf(a) % 10 - valueOf(b) % 10;
            return 0;
        }
        int32_t Hash(const IQXUnknown* a, uint32_t* result) override {
            *result = static_cast<uint32_t>(valueOf(a) % 10);
            return 0;
        }
    };
    ArrayList list;
    addItems(list, {11, 12, 21, 32, 3});
    const auto comparator = qx::makeReference<LastDigit>();
    EXPECT_EQ(values(HashSet(list)), (Values{32, 21, 12, 11, 3}));
    const HashSet set(list, comparator);
    EXPECT_EQ(values(set), (Values{3, 12, 11}));
    HashSet copy(set);
    EXPECT_FALSE(copy.add(item(41)));
    EXPECT_TRUE(HashSet(static_cast<const Collection&>(set)).add(item(41)));
    copy.clear();
    EXPECT_EQ(set.getSize(), 3);
    EXPECT_TRUE(HashSet(comparator).isEmpty());
}
