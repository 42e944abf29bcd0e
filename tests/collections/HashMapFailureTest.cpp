#include <gtest/gtest.h>

#include "tests/support/FailingAllocator.h"
#include "tests/support/MapPlay.h"

// Elements and comparators that use a map while it is at work. ModelTest has failures.

using namespace qxtest;
using qx::Reference;
using namespace qx::collections::pcom;

namespace {

/// A full map: the next new key makes its table larger.
Reference<HashMap> fullMap(const IQXComparator* comparator) {
    auto map = qx::makeReference<HashMap>(comparator, comparator, 3, 1.0F);
    for (const int key : {1, 4, 2})
        map->put(item(key), item(key * 10));
    EXPECT_EQ(map->getCapacity(), 3);
    return map;
}

using Operation = std::function<void(HashMap& map)>;

} // namespace

TEST(HashMapFailure, ElementsThatGoMayUseTheMap) {
    const Operation drops[] = {
        [](HashMap& map) { map.put(item(5), nullptr); },
        [](HashMap& map) { map.remove(item(5)); },
        [](HashMap& map) { map.clear(); },
        [](HashMap& map) { map.createKeySet()->clear(); },
        [](HashMap& map) {
            const auto entries = map.createEntrySet();
            entries->removeAll(*entries);
        },
        [](HashMap& map) {
            const auto values = map.createValueCollection();
            const auto iterator = values->createIterator();
            for (int i = 0; i < 3; ++i) {
                iterator->next();
                iterator->remove();
            }
        },
        [](HashMap& map) { Reference<HashMap>::attach(&map).reset(); },
    };
    const Operation farewells[] = {
        [](HashMap& map) { map.put(item(20), item(1)); },
        [](HashMap& map) { map.remove(item(106)); },
        [](HashMap& map) { map.clear(); },
        [](HashMap& map) {
            for (int key = 30; key < 130; ++key) // through a growth
                map.put(item(key), nullptr);
        },
        [](HashMap& map) {
            const Reference<HashMap> hold(&map);
            EXPECT_EQ(contentOf(map).size(), static_cast<std::size_t>(map.getSize()));
        },
    };
    for (const Operation& drop : drops) {
        for (const Operation& farewell : farewells) {
            SCOPED_TRACE(testing::Message() << &drop - drops << " and " << &farewell - farewells);
            auto map = qx::makeReference<HashMap>();
            int partings = 0;
            // Key, value and neighbours in the chain; each says farewell only once.
            const auto parting = [&, target = map.get()] {
                if (partings++ == 0)
                    farewell(*target);
            };
            map->put(item(106), nullptr);
            map->put((new Item(5, parting))->GetUnknown(), (new Item(1, parting))->GetUnknown());
            map->put(item(207), nullptr);
            if (&drop == std::end(drops) - 1) {
                drop(*map.detach());
            } else {
                try {
                    drop(*map);
                } catch (const qx::Exception&) { // an iterator on whose map the farewell was busy
                }
                EXPECT_EQ(contentOf(*map).size(), static_cast<std::size_t>(map->getSize()));
                map->put(item(5), item(5));
                EXPECT_EQ(valueOf(map->get(item(5))), 5);
                map.reset();
            }
            EXPECT_GT(partings, 0);
            EXPECT_EQ(Item::alive(), 0);
        }
    }
}

TEST(HashMapFailure, KeysThatGoMayUseTheIteratorThatHeldThem) {
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

TEST(HashMapFailure, ComparatorsThatChangeTheMapAreNoticed) {
    /// Runs something before it compares.
    class Meddling : public qx::util::Comparator {
    public:
        int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) override {
            if (meddle)
                std::exchange(meddle, nullptr)();
            return Comparator::Compare(a, b, result);
        }
        std::function<void()> meddle;
    };
    const auto comparator = qx::makeReference<Meddling>();
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
            comparator->meddle = [&] { change(*map); };
            EXPECT_THROW(search(*map), qx::Exception);
            EXPECT_EQ(contentOf(*map).size(), static_cast<std::size_t>(map->getSize()));
        }
    }
    // Only the comparison still holds the value, which clears the map when it goes.
    const auto map = fullMap(comparator);
    map->put(item(2), (new Item(20, [&] { map->clear(); }))->GetUnknown());
    comparator->meddle = [&] { map->put(item(2), nullptr); };
    EXPECT_THROW(map->containsValue(item(9)), qx::Exception);
    EXPECT_EQ(Item::alive(), 0);
}

TEST(HashMapFailure, LongChainsAreReleasedWithoutRecursion) {
    constexpr int Length = 99999, GrownLength = 2 * Length + 1, Keys = 10 * Length + 1;
    /// Gives keys hashes that lie in many buckets, until the table grows: then all are in one. No
    /// two keys are equal.
    class OneBucket : public qx::util::Comparator {
    public:
        int32_t Compare(const IQXUnknown*, const IQXUnknown*, int* result) override {
            *result = 1;
            return 0;
        }
        int32_t Hash(const IQXUnknown*, uint32_t* result) override {
            *result = m_hash;
            m_hash = m_hash > UINT32_MAX - GrownLength ? 0 : m_hash + GrownLength;
            return 0;
        }

    private:
        uint32_t m_hash = 0;
    };
    const auto comparator = qx::makeReference<OneBucket>();
    const auto longChain = [&] {
        auto map = qx::makeReference<HashMap>(comparator.get(), comparator.get(), Length, 10.0F);
        for (int i = 0; i < Keys; ++i)
            map->put(nullptr, nullptr);
        EXPECT_EQ(map->getCapacity(), GrownLength);
        return map;
    };
    const int64_t blocks = liveBlocks();
    auto map = longChain();
    Element entry = map->createEntrySet()->createIterator()->next();
    map->clear();
    entry.reset();
    EXPECT_EQ(map->getSize(), 0);
    map = longChain();
    entry = map->createEntrySet()->createIterator()->next();
    map.reset();
    entry.reset();
    EXPECT_EQ(liveBlocks(), blocks);
}
