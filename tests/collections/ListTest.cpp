#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/collections/pcom/detail/Sizes.h> // no test fills a list up to its limit
#include <qx/core/Exception.h>
#include <qx/core/String.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

// What both lists promise. ModelTest plays the ordinary operations and failures; here stand the
// boundaries, what is counted, who owns what, and elements that use their list while they go.

using namespace qxtest;
using qx::Reference;
using qx::collections::pcom::ArrayList;
using qx::collections::pcom::LinkedList;
using qx::collections::pcom::List;

using Values = std::vector<int>;

template <class T>
class Lists : public testing::Test {
public:
    ~Lists() override { EXPECT_EQ(Item::alive(), 0); }

protected:
    static Reference<T> list(std::initializer_list<int> values) {
        auto list = qx::makeReference<T>();
        addItems(*list, values);
        return list;
    }
};

using BothLists = testing::Types<ArrayList, LinkedList>;
TYPED_TEST_SUITE(Lists, BothLists);

TYPED_TEST(Lists, AreComparedWithListsOnly) {
    const auto list = this->list({1});
    EXPECT_FALSE(list->equals(qx::String(u"1")));
    EXPECT_THROW(list->compareTo(qx::String(u"1")), qx::CastFailedException);
    EXPECT_EQ(list->compareTo(*list), 0);
    EXPECT_TRUE(list->equals(*list));
    const auto view = list->createSubList(0, 1);
    EXPECT_TRUE(list->equals(dynamic_cast<const qx::Object&>(*view)));
}

TYPED_TEST(Lists, AskTheComparatorForTheStoredElementFirst) {
    // Finds only when a stored element is handed in first.
    const auto comparator = qx::makeReference<NumberComparator>(
        [](int stored, int sought) { return !(stored == 1 && sought == 2); });
    TypeParam list(comparator.get());
    addItems(list, {0, 1});
    LinkedList argument;
    addItems(argument, {2});
    const auto sought = item(2);
    EXPECT_TRUE(list.contains(sought));
    EXPECT_EQ(list.indexOf(sought), 1);
    EXPECT_EQ(list.lastIndexOf(sought), 1);
    EXPECT_TRUE(list.createSubList(0, 2)->contains(sought)); // a view asks it too
    EXPECT_TRUE(list.containsAll(argument));
    EXPECT_TRUE(TypeParam(list).removeAll(argument)); // a copy shares it
    EXPECT_FALSE(TypeParam(static_cast<List&>(list)).removeAll(argument));
    EXPECT_TRUE(list.remove(sought));
    EXPECT_EQ(values(list), Values{0});
}

TYPED_TEST(Lists, LiveAsLongAsIteratorsAndViewsOfThem) {
    auto list = this->list({1, 2, 3});
    const auto iterator = list->createListIterator(1);
    const auto view = list->createSubList(1, 3);
    const auto innerView = view->createSubList(1, 2);
    list.reset();
    EXPECT_EQ(valueOf(iterator->next()), 2);
    EXPECT_EQ(values(*innerView), Values{3});
}

TYPED_TEST(Lists, AreComponentsWithTheInterfacesOfAnObject) {
    const auto list = this->list({});
    List* const interface = list.get();
    Element unknown;
    Reference<IQXComparable> comparable;
    ASSERT_EQ(interface->QueryInterface(IQXUnknown::Iid, unknown.putVoid()), 0);
    ASSERT_EQ(interface->QueryInterface(IQXComparable::Iid, comparable.putVoid()), 0);
    EXPECT_EQ(unknown, list->GetUnknown());
    EXPECT_EQ(list->GetRefCount(), 3u);
    uint32_t hash = 0;
    EXPECT_EQ(comparable->HashCode(&hash), 0);
    EXPECT_EQ(hash, 1u);
    EXPECT_THROW(list->clone(), qx::CloneNotSupportedException);
    qxtest::expectThrowsResult(qx::result::NullPointer,
                               [] { TypeParam(static_cast<const IQXComparator*>(nullptr)); });
}

TYPED_TEST(Lists, EndOperationsWithTheirOwnViews) {
    const auto list = this->list({3, 3, 4, 4});
    const auto view = list->createSubList(1, 3);
    EXPECT_TRUE(list->addAll(*view)); // appending does not disturb the view
    EXPECT_TRUE(view->addAll(*view));
    EXPECT_EQ(values(*list), (Values{3, 3, 4, 3, 4, 4, 3, 4}));
    EXPECT_THROW(view->addAll(*list), qx::Exception); // the view's change disturbs the list's walk
    EXPECT_EQ(list->getSize(), 9);
}

TYPED_TEST(Lists, ElementsMayUseTheListWhileTheyGo) {
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
        const auto list = this->list({});
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

TYPED_TEST(Lists, ElementsSeeViewAndIteratorWithoutThemWhenTheyGo) {
    const auto list = this->list({0, 1});
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

TYPED_TEST(Lists, ClearedElementsMayFillTheListAgain) {
    auto list = this->list({});
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

TYPED_TEST(Lists, ClearedElementsMayTakeOthersAlong) {
    const auto list = this->list({0, 1, 2});
    const auto removeRest = [at = list.get()] {
        while (!at->isEmpty())
            at->remove(0);
    };
    list->add((new Item(3, removeRest))->GetUnknown());
    list->clear();
    EXPECT_TRUE(list->isEmpty());
}

TYPED_TEST(Lists, ComparatorsThatChangeTheListAreNoticed) {
    List* meddled = nullptr;
    const auto comparator = qx::makeReference<NumberComparator>([&](int, int) {
        if (meddled->getSize() > 1)
            meddled->remove(0);
        return 1;
    });
    const auto list = qx::makeReference<TypeParam>(comparator.get());
    meddled = list.get();
    addItems(*list, {1, 2, 3});
    EXPECT_THROW(list->contains(nullptr), qx::Exception);
    EXPECT_EQ(values(*list), (Values{2, 3}));
    EXPECT_EQ(list->indexOf(nullptr), -1); // one element left after it: the walk is at the end
    EXPECT_EQ(values(*list), Values{3});
}

TYPED_TEST(Lists, ReadersInSeveralThreadsDoNotDisturbEachOther) {
    const auto list = this->list({});
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

TEST(ArrayList, GrowsByHalf) {
    const std::array capacities = {1, 2, 3, 4, 6, 6, 9, 9, 9, 13, 13, 13, 13, 19};
    ArrayList list;
    EXPECT_EQ(list.getCapacity(), 0);
    for (const int capacity : capacities) {
        if (list.getSize() % 2)
            list.add(nullptr);
        else
            list.add(0, nullptr);
        EXPECT_EQ(list.getCapacity(), capacity);
    }
    list.clear();
    EXPECT_EQ(list.getCapacity(), capacities.back());
}

TEST(ListLength, IsLimitedToWhatASizeCanSay) {
    using namespace qx::collections::pcom::detail;
    const struct {
        int size, capacity;
    } rows[] = {
        {0, 1},
        {1, 2},
        {3, 4},
        {13, 19},
        {1431655764, 2147483646},
        {1431655766, INT32_MAX},
        {INT32_MAX - 1, INT32_MAX},
    };
    for (const auto& row : rows)
        EXPECT_EQ(grownCapacity(row.size), row.capacity);
    try {
        grownCapacity(INT32_MAX);
        FAIL();
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "vector<T> too long");
    }
    EXPECT_NO_THROW(checkRoom(INT32_MAX - 1, "list<T> too long"));
    EXPECT_THROW(checkRoom(INT32_MAX, "list<T> too long"), std::length_error);
}
