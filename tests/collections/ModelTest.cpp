#include <gtest/gtest.h>

#include <random>

#include <qx/collections/pcom/LinkedList.h>
#include <qx/collections/pcom/detail/Elements.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/KeyedMapPlay.h"
#include "tests/support/ListPlay.h"
#include "tests/support/MapPlay.h"
#include "tests/support/Sanitized.h"

// Random operations go as on the plain models, and what fails for want of memory, or because the
// comparator does, changes nothing.

using namespace qxtest;
using qx::makeReference;
using qx::Reference;
using namespace qx::collections::pcom;

namespace {

// The thread sanitizer of g++ 12 takes more memory with every exception that a test sees.
constexpr int Rounds = ThreadSanitized ? 30 : 400;

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
void playRandomly(std::size_t length, auto&& makePlay) {
    std::minstd_rand random(2026);
    for (int round = 0; round < Rounds; ++round) {
        SCOPED_TRACE(round);
        const auto bytes = randomBytes<std::vector<uint8_t>>(length, random);
        const auto comparator = makeReference<FailingComparator>();
        ASSERT_NO_THROW(makePlay(round, round % 2 ? comparator : nullptr).play(bytes));
        ASSERT_EQ(Item::alive(), 0);
        ASSERT_EQ(comparator->GetRefCount(), 1u);
    }
}

template <class List>
void playOnLists() {
    playRandomly(700, [](int, const auto& comparator) {
        return ListPlay(comparator ? makeReference<List>(comparator.get()) : makeReference<List>(),
                        failures(comparator));
    });
}

} // namespace

TEST(Model, OfLists) {
    playOnLists<ArrayList>();
    playOnLists<LinkedList>();
    /// Has the iterators that a list of anybody's has.
    struct Derived : LinkedList {
        using LinkedList::LinkedList;
    };
    playOnLists<Derived>();
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
            const auto bytes = randomBytes<std::vector<uint8_t>>(20'000, random);
            EXPECT_NO_THROW(TypeParam(capacity, load, failures()).play(bytes));
            EXPECT_EQ(Item::alive(), 0);
        }
    }
}

namespace {

/// Changes a collection of numbered items. Those that go see it without them and change it again.
struct Partings {
    std::mt19937 random;
    std::function<std::vector<int>()> numbers;
    std::vector<std::function<void()>> changes;
    int last = 0, depth = 0;

    void play() {
        for (int step = 0; step < 60; ++step) {
            change();
            ASSERT_EQ(Item::alive(), static_cast<int>(numbers().size()));
        }
    }
    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); }
    Reference<Item> make() {
        const int number = ++last;
        return makeReference<Item>(number, [this, number] {
            EXPECT_EQ(std::ranges::count(numbers(), number), 0);
            if (depth < 2) {
                ++depth;
                change();
                --depth;
            }
        });
    }
    void change() {
        try {
            changes[static_cast<std::size_t>(below(static_cast<int>(changes.size())))]();
        } catch (const qx::Exception&) { // a place that is not there, or a disturbed walk
        }
    }
};

void playPartings(Reference<List> owner, unsigned seed) {
    List& list = *owner;
    Partings play{std::mt19937(seed), [&] { return values(list); }, {}};
    const auto on = [&](auto&& change) {
        return [&, change] {
            const auto view = list.createSubList(play.below(list.getSize() + 1), list.getSize());
            List& some = play.below(3) ? list : *view;
            const int at = play.below(some.getSize() + 1);
            change(some, at, *some.createListIterator(at));
        };
    };
    const auto add = on([&](auto& some, int at, auto&) { some.add(at, play.make()); });
    const auto remove = on([](auto& some, int at, auto&) { some.remove(at); });
    const auto removeEqual = on([](auto& some, int at, auto&) { some.remove(some.get(at).get()); });
    const auto set = on([&](auto& some, int at, auto&) { some.set(at, play.make()); });
    const auto clear = on([](auto& some, int at, auto&) { at == 0 ? some.clear() : void(); });
    const auto removeNext = on([](auto&, int at, ListIterator& iterator) {
        iterator.next();
        iterator.remove();
        EXPECT_EQ(iterator.nextIndex(), at);
    });
    const auto setNext = on([&](auto&, int, ListIterator& iterator) {
        iterator.next();
        iterator.set(play.make());
        iterator.set(play.make());
    });
    const auto clearAll = [&] { EXPECT_NO_THROW(play.below(3) ? void() : list.clear()); };
    play.changes = {add, add, remove, removeEqual, set, clear, clearAll, removeNext, setNext};
    play.play();
    owner.reset(); // goes while they use it
}

void playPartings(Reference<HashMap> owner, unsigned seed) {
    HashMap& map = *owner;
    Partings play{std::mt19937(seed), {}, {}};
    play.numbers = [&] {
        std::vector<int> numbers;
        for (const auto& [key, value] : map)
            numbers.insert(numbers.end(), {valueOf(key), valueOf(value)});
        EXPECT_EQ(numbers.size(), 2 * static_cast<std::size_t>(map.getSize()));
        return numbers;
    };
    const auto put = [&] { EXPECT_NO_THROW(map.put(play.make(), play.make())); };
    const auto remove = [&] { EXPECT_NO_THROW(map.remove(play.make())); };
    const auto clear = [&] { EXPECT_NO_THROW(map.clear()); };
    const auto clearKeys = [&] { map.createKeySet()->clear(); };
    const auto removeAll = [&] {
        const auto entries = map.createEntrySet();
        entries->removeAll(*entries);
    };
    const auto removeEach = [&] {
        const auto iterator = map.createValueCollection()->createIterator();
        while (iterator->hasNext()) {
            iterator->next();
            iterator->remove();
        }
    };
    play.changes = {put, put, put, put, put, remove, clear, clearKeys, removeAll, removeEach};
    play.play();
    owner.reset();
}

} // namespace

TEST(Model, OfElementsThatUseTheirCollectionWhileTheyGo) {
    const auto alike = makeReference<NumberComparator>([](int a, int b) { return a % 40 - b % 40; },
                                                       [](int number) { return number % 20; });
    // The thread sanitizer keeps the frames that an exception has left, and their number grows.
    for (unsigned seed = 0; seed < (Sanitized ? 30u : 300u); ++seed) {
        playPartings(makeReference<ArrayList>(), seed);
        playPartings(makeReference<LinkedList>(), seed);
        playPartings(makeReference<HashMap>(alike.get(), alike.get(), 1, 1.0F), seed);
        ASSERT_EQ(Item::alive(), 0) << seed;
    }
}

TEST(Collections, ReadersInSeveralThreadsDoNotDisturbEachOther) {
    constexpr int Size = 200;
    HashMap map;
    ArrayList array;
    LinkedList linked;
    for (int number = 0; number < Size; ++number) {
        map.put(item(number), nullptr);
        array.add(item(number));
        linked.add(item(number));
    }
    const auto keys = map.createKeySet(), entries = map.createEntrySet();
    const auto readAll = [&](int step) {
        for (const List* list : std::initializer_list<List*>{&linked, &array}) {
            for (int i = 0; i < 5'000; ++i)
                EXPECT_EQ(valueOf(list->get(i * step % Size)), i * step % Size);
        }
        std::vector<Element> all;
        for (const Collection* each :
             std::initializer_list<Collection*>{entries.get(), keys.get(), &array, &linked})
            std::ranges::copy(detail::elementsOf(*each), std::back_inserter(all));
        return all;
    };
    std::vector<Element> seen[4];
    inThreads(4, [&](int thread) { seen[thread] = readAll(thread * 66 + 1); });
    for (const auto& each : seen)
        EXPECT_EQ(each, readAll(1)); // also each entry was made once
}
