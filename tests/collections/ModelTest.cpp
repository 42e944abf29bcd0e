#include <gtest/gtest.h>

#include <random>

#include <qx/collections/pcom/LinkedList.h>

#include "tests/support/FailingAllocator.h"
#include "tests/support/KeyedMapPlay.h"
#include "tests/support/ListPlay.h"
#include "tests/support/MapPlay.h"

// Random operations go as on the plain models, and what fails for want of memory, or because the
// comparator does, changes nothing.

using namespace qxtest;
using qx::makeReference;
using qx::Reference;
using namespace qx::collections::pcom;

namespace {

// The thread sanitizer of g++ 12 takes more memory with every exception that a test sees.
#ifdef __SANITIZE_THREAD__
constexpr int Rounds = 30;
#else
constexpr int Rounds = 400;
#endif

/// Lets allocations fail and, where there is one, the calls of a comparator.
Failures failures(const Reference<FailingComparator>& comparator = nullptr) {
    return [comparator](int fate, const std::function<void()>& operation) {
        const int call = fate / 8;
        if (fate % 8 == 0) {
            const FailingAllocator allocator(call % 8);
            return operation();
        }
        if (!comparator || fate % 8 > 2)
            return operation();
        comparator->failAfter(call % 16, fate % 8 == 2);
        const std::shared_ptr<void> again(nullptr,
                                          [&](void*) { comparator->failAfter(-1, false); });
        operation();
        if (comparator->hasFailed())
            throw std::logic_error("a failure of the comparator is lost");
    };
}

/// Plays rounds of random bytes, each with a play that @p makePlay (round, comparator) returns; in
/// every other round the comparator is one that fails.
template <class MakePlay>
void playRandomly(int length, MakePlay&& makePlay) {
    std::minstd_rand random(2026);
    for (int round = 0; round < Rounds; ++round) {
        SCOPED_TRACE(round);
        std::vector<uint8_t> bytes(static_cast<std::size_t>(length));
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(random() >> 8);
        const auto comparator = makeReference<FailingComparator>();
        ASSERT_NO_THROW(makePlay(round, round % 2 ? comparator : nullptr).play(bytes));
        ASSERT_EQ(Item::alive(), 0);
        ASSERT_EQ(comparator->GetRefCount(), 1u);
    }
}

template <class T>
Reference<T> makeWith(const Reference<FailingComparator>& comparator) {
    return comparator ? makeReference<T>(comparator.get()) : makeReference<T>();
}

} // namespace

TEST(Model, OfLists) {
    playRandomly(700, [](int, const auto& comparator) {
        return ListPlay(makeWith<ArrayList>(comparator), failures(comparator));
    });
    playRandomly(700, [](int, const auto& comparator) {
        return ListPlay(makeWith<LinkedList>(comparator), failures(comparator));
    });
    /// Has the iterators that a list of anybody's has.
    class Derived : public LinkedList {
    public:
        using LinkedList::LinkedList;
    };
    playRandomly(700, [](int, const auto& comparator) {
        return ListPlay(makeWith<Derived>(comparator), failures(comparator));
    });
}

TEST(Model, OfMapsAndSets) {
    playRandomly(600, [](int round, const auto& comparator) {
        const int capacity = 1 + round % 12;
        const float load = 0.25F + 0.25F * static_cast<float>(round % 7);
        return MapPlay(comparator ? new HashMap(comparator, comparator, capacity, load)
                                  : new HashMap(capacity, load),
                       capacity, load, failures(comparator));
    });
}

template <class Play>
class KeyedMapModel : public testing::Test {};

using KeyedMapPlays = testing::Types<IntegerMapPlay, StringMapPlay>;
TYPED_TEST_SUITE(KeyedMapModel, KeyedMapPlays);

TYPED_TEST(KeyedMapModel, OfEveryShape) {
    std::mt19937 random(11);
    for (const int capacity : {1, 2, 31, 32, 33, 101, 1000}) {
        // The larger ones make all groups of buckets large.
        for (const float load : {0.05f, 0.75f, 1.0f, 3.0f, 25.0f, 200.0f, 2000.0f}) {
            SCOPED_TRACE(testing::Message() << capacity << " buckets, load " << load);
            std::vector<uint8_t> bytes(20'000);
            std::ranges::generate(bytes, [&] { return static_cast<uint8_t>(random()); });
            EXPECT_NO_THROW(TypeParam(capacity, load, failures()).play(bytes));
            EXPECT_EQ(Item::alive(), 0);
        }
    }
}
