#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <new>
#include <thread>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Exception.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/Items.h"

// Failures in the middle of an operation, and elements that use their list while they go.

using namespace qxtest;
using qx::Reference;
using qx::collections::pcom::ArrayList;
using qx::collections::pcom::Collection;
using qx::collections::pcom::LinkedList;
using qx::collections::pcom::List;

using Values = std::vector<int>;

namespace {

/// What a list must be like after a failure: its operations agree, and nothing came in or changed
/// its place except at the end.
void expectRemains(List& list, const Values& before) {
    const Values now = values(list);
    EXPECT_EQ(static_cast<std::size_t>(list.getSize()), now.size());
    auto place = before.begin();
    for (const int value : now) {
        place = std::find(place, before.end(), value);
        ASSERT_NE(place, before.end()) << "element " << value;
        ++place;
    }
    list.add(item(77));
    EXPECT_EQ(valueOf(list.get(list.getSize() - 1)), 77);
    EXPECT_EQ(list.indexOf(item(77)), list.getSize() - 1);
    const auto backward = list.createListIterator(list.getSize());
    for (int index = list.getSize(); backward->hasPrevious();)
        EXPECT_EQ(backward->previous(), list.get(--index));
    list.remove(list.getSize() - 1);
}

} // namespace

template <class T>
class ListFailures : public testing::Test {
public:
    ~ListFailures() override { EXPECT_EQ(Item::alive(), 0); }
};

using BothLists = testing::Types<ArrayList, LinkedList>;
TYPED_TEST_SUITE(ListFailures, BothLists);

TYPED_TEST(ListFailures, OfTheComparatorStopEveryOperation) {
    using Operation = void (*)(List & list, const Collection& other);
    static constexpr auto object = [](auto& list) -> const qx::Object& {
        return dynamic_cast<const qx::Object&>(list);
    };
    const Operation operations[] = {
        [](List& list, const Collection&) { list.contains(item(9)); },
        [](List& list, const Collection& other) { list.containsAll(other); },
        [](List& list, const Collection&) { list.indexOf(item(9)); },
        [](List& list, const Collection&) { list.lastIndexOf(item(9)); },
        [](List& list, const Collection&) { list.remove(item(2)); },
        [](List& list, const Collection& other) { list.removeAll(other); },
        [](List& list, const Collection&) { list.removeAll(list); },
        [](List& list, const Collection& other) { list.retainAll(other); },
        [](List& list, const Collection&) { list.retainAll(list); },
        [](List& list, const Collection&) { list.hashCode(); },
        [](List& list, const Collection&) { object(list).equals(TypeParam(list)); },
        [](List& list, const Collection&) { object(list).compareTo(TypeParam(list)); },
        [](List& list, const Collection&) { list.createSubList(1, 3)->remove(item(2)); },
    };
    const Values before = {1, 2, 3, 2, Null};
    for (const Operation operation : operations) {
        for (const bool throws : {false, true}) {
            bool failed = true;
            for (int calls = 0; failed; ++calls) {
                SCOPED_TRACE(testing::Message()
                             << "operation " << &operation - operations
                             << (throws ? " throws" : " fails") << " at call " << calls);
                const auto comparator = qx::makeReference<FailingComparator>();
                const auto list = qx::makeReference<TypeParam>(comparator.get());
                for (const int value : before)
                    list->add(item(value));
                ArrayList other;
                addItems(other, {2, 3, 2});
                throws ? comparator->throwAfter(calls) : comparator->failAfter(calls);
                try {
                    operation(*list, other);
                    failed = false;
                } catch (const qx::ResultException& exception) {
                    EXPECT_FALSE(throws);
                    EXPECT_EQ(exception.getResult(), FailingComparator::Failure);
                } catch (const FailingComparator::Thrown&) {
                    EXPECT_TRUE(throws);
                }
                EXPECT_EQ(comparator->hasFailed(), failed);
                ASSERT_GT(calls + failed, 0) << "the comparator was not asked";
                comparator->failAfter(-1);
                expectRemains(*list, before);
                EXPECT_LE(list->GetRefCount(), 1u);
            }
        }
    }
}

TYPED_TEST(ListFailures, OfMemoryLoseNothing) {
    enum Promise { Unchanged, AddedSome };
    const struct {
        void (*operation)(List& list, const Collection& other);
        Promise promise;
    } rows[] = {
        {[](List& list, const Collection&) { list.add((new Item(9))->GetUnknown()); }, Unchanged},
        {[](List& list, const Collection&) { list.add(1, (new Item(9))->GetUnknown()); },
         Unchanged},
        {[](List& list, const Collection&) { list.set(1, (new Item(9))->GetUnknown()); },
         Unchanged},
        {[](List& list, const Collection& other) { list.addAll(other); }, AddedSome},
        {[](List& list, const Collection& other) { list.addAll(1, other); }, AddedSome},
        {[](List& list, const Collection&) { list.addAll(list); }, AddedSome},
        {[](List& list, const Collection&) { list.addAll(1, list); }, AddedSome},
        {[](List& list, const Collection&) { list.contains(item(9)); }, Unchanged},
        {[](List& list, const Collection&) { list.remove(item(9)); }, Unchanged},
        {[](List& list, const Collection&) { list.removeAll(TypeParam()); }, Unchanged},
        {[](List& list, const Collection&) { list.retainAll(list); }, Unchanged},
        {[](List& list, const Collection&) { TypeParam copy(dynamic_cast<TypeParam&>(list)); },
         Unchanged},
        {[](List& list, const Collection&) { TypeParam copy(static_cast<Collection&>(list)); },
         Unchanged},
        {[](List& list, const Collection&) { list.createSubList(0, 2)->createSubList(1, 2); },
         Unchanged},
        {[](List& list, const Collection&) {
             list.createSubList(0, 1)->add((new Item(9))->GetUnknown());
         },
         Unchanged},
        {[](List& list, const Collection&) {
             const auto view = list.createSubList(0, 1);
             try {
                 view->add(0, (new Item(9))->GetUnknown());
             } catch (const std::bad_alloc&) {
                 EXPECT_EQ(values(*view), Values{1}); // still valid, though the list has not grown
                 throw;
             }
         },
         Unchanged},
        {[](List& list, const Collection&) {
             const auto iterator = list.createListIterator(1);
             try {
                 iterator->add((new Item(9))->GetUnknown());
             } catch (const std::bad_alloc&) {
                 EXPECT_EQ(valueOf(iterator->next()), 2);
                 throw;
             }
         },
         Unchanged},
        {[](List& list, const Collection&) {
             const auto iterator = list.createSubList(0, 1)->createListIterator(0);
             iterator->next();
             iterator->set((new Item(9))->GetUnknown());
         },
         Unchanged},
    };
    const Values before = {1, 2, 3, 4};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        const int64_t allocations = failEachAllocation([&] {
            Reference<TypeParam> list;
            bool ready = false;
            try {
                list = qx::makeReference<TypeParam>();
                addItems(*list, {1, 2, 3, 4});
                ArrayList other;
                addItems(other, {5, 6});
                ready = true;
                row.operation(*list, other);
            } catch (const std::bad_alloc&) {
                if (ready && row.promise == Unchanged) {
                    EXPECT_EQ(values(*list), before);
                } else if (ready) {
                    EXPECT_GE(list->getSize(), 4);
                    EXPECT_LT(list->getSize(), 8);
                }
                if (ready && row.promise == Unchanged)
                    expectRemains(*list, before);
            }
        });
        EXPECT_GT(allocations, 6);
    }
}

TYPED_TEST(ListFailures, RefusedElementsWithoutOwnerGo) {
    TypeParam list;
    const auto fresh = [] { return (new Item(1))->GetUnknown(); };
    EXPECT_THROW(list.add(1, fresh()), qx::RangeErrorException);
    EXPECT_THROW(list.set(0, fresh()), qx::RangeErrorException);
    const auto iterator = list.createListIterator(0);
    EXPECT_THROW(iterator->set(fresh()), qx::IllegalStateException);
    const auto view = list.createSubList(0, 0);
    EXPECT_THROW(view->add(1, fresh()), qx::RangeErrorException);
    EXPECT_THROW(view->set(0, fresh()), qx::RangeErrorException);
    list.add(0, nullptr);
    EXPECT_THROW(iterator->add(fresh()), qx::Exception);
    EXPECT_THROW(view->createListIterator(0)->set(fresh()), qx::IllegalStateException);
    EXPECT_EQ(Item::alive(), 0);
}

TYPED_TEST(ListFailures, ElementsMayUseTheListWhileTheyGo) {
    const auto removeSecond = [](List& list) {
        const auto iterator = list.createListIterator(1);
        iterator->next();
        iterator->remove();
        EXPECT_EQ(iterator->nextIndex(), 1);
        EXPECT_EQ(valueOf(iterator->previous()), 0);
    };
    const auto replaceSecond = [](List& list) {
        const auto iterator = list.createListIterator(1);
        iterator->next();
        iterator->set(nullptr);
        iterator->set(nullptr);
    };
    const struct {
        std::function<void(List& list)> operation;
        Values seen, left;
    } rows[] = {
        {[](List& list) { list.remove(1); }, {0, 2}, {0, 2, 100}},
        {[](List& list) { list.remove(list.get(1).get()); }, {0, 2}, {0, 2, 100}},
        {[](List& list) { list.set(1, nullptr); }, {0, Null, 2}, {0, Null, 2, 100}},
        {removeSecond, {0, 2}, {0, 2, 100}},
        {replaceSecond, {0, Null, 2}, {0, Null, 2, 100}},
        {[&](List& list) { removeSecond(*list.createSubList(0, 3)); }, {0, 2}, {0, 2, 100}},
        {[&](List& list) { replaceSecond(*list.createSubList(0, 2)); },
         {0, Null, 2},
         {0, Null, 2, 100}},
        {[](List& list) { list.createSubList(1, 2)->clear(); }, {0, 2}, {0, 2, 100}},
        {[](List& list) { list.createSubList(1, 3)->remove(0); }, {0, 2}, {0, 2, 100}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        const auto list = qx::makeReference<TypeParam>();
        Values seen;
        list->add(item(0));
        list->add((new Item(1, [&seen, at = list.get()] {
                      seen = values(*at);
                      at->add(item(100));
                  }))->GetUnknown());
        list->add(item(2));
        row.operation(*list);
        EXPECT_EQ(seen, row.seen);
        EXPECT_EQ(values(*list), row.left);
    }
}

TYPED_TEST(ListFailures, ElementsSeeViewAndIteratorWithoutThemWhenTheyGo) {
    const auto list = qx::makeReference<TypeParam>();
    addItems(*list, {0, 1});
    Values seen;
    Reference<List> outer, inner;
    Reference<qx::collections::pcom::ListIterator> iterator;
    const auto look = [&] {
        seen = values(*inner);
        seen.push_back(valueOf(iterator->next()));
    };
    list->add(1, (new Item(5, look))->GetUnknown());
    outer = list->createSubList(0, 3);
    inner = outer->createSubList(1, 3);
    iterator = inner->createListIterator(0);
    iterator->next();
    iterator->remove();
    EXPECT_EQ(seen, (Values{1, 1}));
    EXPECT_EQ(values(*outer), (Values{0, 1}));
}

TYPED_TEST(ListFailures, ClearedElementsMayFillTheListAgain) {
    auto list = qx::makeReference<TypeParam>();
    const auto fill = [&list](int last) {
        list->add(item(0));
        const auto refill = [at = list.get(), last] {
            at->contains(nullptr); // takes and drops a reference to the list
            at->add(item(last));
        };
        list->add((new Item(1, refill))->GetUnknown());
    };
    fill(7);
    list->clear();
    EXPECT_EQ(values(*list), Values{7});
    fill(8);
    list.reset(); // the list ends all the same, once
}

TYPED_TEST(ListFailures, ClearedElementsMayTakeOthersAlong) {
    const auto list = qx::makeReference<TypeParam>();
    addItems(*list, {0, 1, 2});
    const auto removeRest = [at = list.get()] {
        while (!at->isEmpty())
            at->remove(0);
    };
    list->add((new Item(3, removeRest))->GetUnknown());
    list->clear();
    EXPECT_TRUE(list->isEmpty());
}

TYPED_TEST(ListFailures, ComparatorsThatChangeTheListAreNoticed) {
    class Meddling : public qx::util::Comparator {
    public:
        int32_t Compare(const IQXUnknown*, const IQXUnknown*, int* result) override {
            *result = 1;
            if (list->getSize() > 1)
                list->remove(0);
            return 0;
        }
        List* list = nullptr;
    };
    const auto comparator = qx::makeReference<Meddling>();
    const auto list = qx::makeReference<TypeParam>(comparator.get());
    comparator->list = list.get();
    addItems(*list, {1, 2, 3});
    EXPECT_THROW(list->contains(nullptr), qx::Exception);
    EXPECT_EQ(values(*list), (Values{2, 3}));
    EXPECT_EQ(list->indexOf(nullptr), -1); // one element left after it: the walk is at the end
    EXPECT_EQ(values(*list), Values{3});
}

TYPED_TEST(ListFailures, ReadersInSeveralThreadsDoNotDisturbEachOther) {
    const auto list = qx::makeReference<TypeParam>();
    Values expected;
    for (int value = 0; value < 200; ++value) {
        list->add(item(value));
        expected.push_back(value);
    }
    const auto read = [&](int step) {
        for (int index = 0; index < 2'000; ++index)
            EXPECT_EQ(valueOf(list->get(index * step % 200)), index * step % 200);
        EXPECT_EQ(values(*list), expected);
    };
    std::vector<std::jthread> threads;
    for (const int step : {1, 3, 199, 77})
        threads.emplace_back(read, step);
}
