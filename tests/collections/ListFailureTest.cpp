#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Exception.h>

#include "tests/support/Items.h"

// Elements and comparators that use a list while it is at work. ModelTest has failures.

using namespace qxtest;
using qx::Reference;
using qx::collections::pcom::ArrayList;
using qx::collections::pcom::LinkedList;
using qx::collections::pcom::List;

using Values = std::vector<int>;

template <class T>
class ListFailures : public testing::Test {
public:
    ~ListFailures() override { EXPECT_EQ(Item::alive(), 0); }
};

using BothLists = testing::Types<ArrayList, LinkedList>;
TYPED_TEST_SUITE(ListFailures, BothLists);

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
