#include <gtest/gtest.h>

#include <array>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/collections/pcom/detail/Sizes.h> // no test fills a list up to its limit
#include <qx/core/Exception.h>
#include <qx/core/String.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

// What both lists promise. ModelTest plays the ordinary operations; here stand the boundaries,
// what is counted, and who owns what.

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
    /// Finds only when a stored element is handed in first.
    class Directed : public qx::util::Comparator {
    public:
        int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) override {
            *result = !(valueOf(a) == 1 && valueOf(b) == 2);
            return 0;
        }
    };
    const auto comparator = qx::makeReference<Directed>();
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

TYPED_TEST(Lists, OwnEachElementOnce) {
    const auto kept = qx::makeReference<Item>(1);
    IQXUnknown* const element = kept->GetUnknown();
    const auto list = this->list({});
    list->add(element);
    list->add(0, element);
    EXPECT_EQ(kept->GetRefCount(), 3u);
    const TypeParam copy(*list);
    EXPECT_EQ(kept->GetRefCount(), 5u);
    EXPECT_EQ(list->set(1, nullptr), element);
    EXPECT_EQ(kept->GetRefCount(), 4u);
    {
        const auto iterator = list->createIterator();
        const Element next = iterator->next();
        iterator->remove();
        EXPECT_EQ(kept->GetRefCount(), 4u);
    }
    EXPECT_EQ(kept->GetRefCount(), 3u);
    list->addAll(0, copy);
    EXPECT_EQ(kept->GetRefCount(), 5u);
    EXPECT_EQ(list->remove(0), element);
    list->clear();
    EXPECT_EQ(kept->GetRefCount(), 3u);
}

TYPED_TEST(Lists, TakeWhatTheyStoreAlready) {
    const auto list = this->list({1});
    for (int i = 0; i < 20; ++i) // through every growth
        list->add(list->get(0).get());
    list->set(0, list->get(0).get());
    EXPECT_EQ(values(*list), Values(21, 1));
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
