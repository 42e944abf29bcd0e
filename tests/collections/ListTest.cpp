#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/collections/pcom/detail/Sizes.h> // no test fills a list up to its limit
#include <qx/core/String.h>
#include <qx/util/buffer/RWBuffer.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

// What both lists promise. ModelTest plays the ordinary operations and failures; here stand the
// boundaries, what is counted, who owns what, and elements that use their list while they go.

using namespace qxtest;
using namespace qx::collections::pcom;
using qx::Reference;

using Values = std::vector<int>;

template <class T>
struct Lists : testing::Test {
    ~Lists() override { EXPECT_EQ(Item::alive(), 0); }

    static Reference<T> list(std::initializer_list<int> values) {
        auto list = qx::makeReference<T>();
        addItems(*list, values);
        return list;
    }
};

using BothLists = testing::Types<ArrayList, LinkedList>;
TYPED_TEST_SUITE(Lists, BothLists);

TYPED_TEST(Lists, AreObjectsThatAreComparedWithListsOnly) {
    const auto list = this->list({1});
    EXPECT_FALSE(list->equals(qx::String(u"1")));
    EXPECT_THROW(list->compareTo(qx::String(u"1")), qx::CastFailedException);
    const auto view = std::as_const(*list).createSubList(0, 1);
    EXPECT_TRUE(list->equals(dynamic_cast<const qx::Object&>(*view)) && list->equals(*list));
    uint32_t hash = 0;
    EXPECT_EQ(list.template queryOrThrow<IQXComparable>()->HashCode(&hash), 0);
    EXPECT_EQ(hash, list->hashCode());
    EXPECT_THROW(static_cast<void>(list->clone()), qx::CloneNotSupportedException);
    expectEach(qx::result::NullPointer,
               {[] { TypeParam(static_cast<const IQXComparator*>(nullptr)); }});
}

TYPED_TEST(Lists, AskTheComparatorForTheStoredElementFirst) {
    // Finds only when a stored element is handed in first.
    const auto comparator = qx::makeReference<NumberComparator>(
        [](int stored, int sought) { return !(stored == 1 && sought == 2); });
    TypeParam list(comparator.get());
    addItems(list, {0, 1});
    const auto argument = listOf({2});
    const auto sought = item(2);
    EXPECT_TRUE(list.contains(sought));
    EXPECT_EQ(list.indexOf(sought), 1);
    EXPECT_EQ(list.lastIndexOf(sought), 1);
    EXPECT_TRUE(list.createSubList(0, 2)->contains(sought)); // a view asks it too
    EXPECT_TRUE(list.containsAll(*argument));
    EXPECT_TRUE(TypeParam(list).removeAll(*argument)); // a copy shares it
    EXPECT_FALSE(TypeParam(static_cast<List&>(list)).removeAll(*argument));
    EXPECT_TRUE(list.remove(sought));
    EXPECT_EQ(values(list), Values{0});
}

TYPED_TEST(Lists, EndOperationsWithTheirOwnViews) {
    auto list = this->list({3, 3, 4, 4});
    const auto view = list->createSubList(1, 3);
    EXPECT_TRUE(list->addAll(*view)); // appending does not disturb the view
    EXPECT_TRUE(view->addAll(*view));
    EXPECT_EQ(values(*list), (Values{3, 3, 4, 3, 4, 4, 3, 4}));
    EXPECT_THROW(view->addAll(*list), qx::Exception); // the view's change disturbs the list's walk
    EXPECT_EQ(list->getSize(), 9);
    const auto innerView = list->createSubList(0, 3)->createSubList(1, 2);
    list.reset(); // its views keep it
    EXPECT_EQ(values(*innerView), Values{3});
}

TYPED_TEST(Lists, ElementsSeeViewAndIteratorWithoutThemWhenTheyGo) {
    const auto list = this->list({0, 1});
    Values seen;
    Reference<List> outer, inner;
    Reference<ListIterator> iterator;
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

TYPED_TEST(Lists, HoldAStringWhoseBufferChangesTheList) {
    static TypeParam list;
    struct Buffer : qx::util::RWCharBuffer {
        using qx::util::RWCharBuffer::RWCharBuffer;
        int32_t getLength() const override {
            list.clear();
            return qx::util::RWCharBuffer::getLength();
        }
    };
    const auto add = [] {
        const auto buffer = qx::makeReference<Buffer>(u"abc", 4);
        list.add(qx::makeReference<qx::String>(buffer.get(), qx::String::AM_SHARE)->GetUnknown());
    };
    add();
    EXPECT_FALSE(list.contains(qx::String(u"abd").GetUnknown()));
}

TEST(ArrayList, GrowsByHalf) {
    ArrayList list;
    EXPECT_EQ(list.getCapacity(), 0);
    for (const int capacity : {1, 2, 3, 4, 6, 6, 9, 9, 9, 13, 13, 13, 13, 19}) {
        list.add(0, nullptr);
        EXPECT_EQ(list.getCapacity(), capacity);
        EXPECT_EQ(ArrayList(list).getCapacity(), capacity);
    }
    list.clear();
    EXPECT_EQ(list.getCapacity(), 19);
}

TEST(ListLength, IsLimitedToWhatASizeCanSay) {
    using namespace qx::collections::pcom::detail;
    EXPECT_EQ(grownCapacity(1431655764), 2147483646);
    EXPECT_EQ(grownCapacity(1431655766), INT32_MAX);
    EXPECT_EQ(grownCapacity(INT32_MAX - 1), INT32_MAX);
    EXPECT_THROW(grownCapacity(INT32_MAX), std::length_error);
    EXPECT_NO_THROW(checkRoom(INT32_MAX - 1, "list<T> too long"));
    EXPECT_THROW(checkRoom(INT32_MAX, "list<T> too long"), std::length_error);
}

// Which operations of a derived class the skeletons and lists call.

namespace {

/// A collection with what the skeleton asks for, and no additions.
struct Bag : AbstractCollection {
    Reference<Iterator> createIterator() override { return content->createIterator(); }
    Reference<ConstIterator> createConstIterator() const override {
        return content->createConstIterator();
    }
    int getSize() const override { return content->getSize(); }

    Reference<ArrayList> content{new ArrayList()};
};

/// Writes down what it is asked for.
struct Recording : ArrayList {
    using ArrayList::remove;

    bool add(IQXUnknown* element) override { return log("add"), ArrayList::add(element); }
    bool add(int index, IQXUnknown* element) override {
        return log("insert", index), ArrayList::add(index, element);
    }
    Reference<IQXUnknown> get(int index) const override {
        return log("get", index), ArrayList::get(index);
    }
    Reference<IQXUnknown> remove(int index) override {
        return log("remove", index), ArrayList::remove(index);
    }
    Reference<IQXUnknown> set(int index, IQXUnknown* element) override {
        return log("set", index), ArrayList::set(index, element);
    }

    std::string takeLog() { return std::exchange(calls, {}); }
    void log(const char* call) const { (calls += call) += ' '; }
    void log(const char* call, int index) const { log((call + std::to_string(index)).c_str()); }

    mutable std::string calls;
};

} // namespace

TEST(AbstractCollection, BuildsOnItsIterators) {
    Bag bag;
    addItems(*bag.content, {1, 2, 1, 3});
    EXPECT_THROW(bag.add((new Item(1))->GetUnknown()), qx::UnsupportedOperationException);
    EXPECT_THROW(bag.addAll(bag), qx::UnsupportedOperationException);
    EXPECT_EQ(Item::alive(), 4);
    EXPECT_FALSE(bag.addAll(ArrayList()));
    EXPECT_TRUE(bag.contains(item(3)) && bag.remove(item(1)) && !bag.remove(item(7)));
    EXPECT_TRUE(bag.containsAll(*bag.content));
    EXPECT_TRUE(bag.compareTo(bag) == 0 && !bag.equals(Bag(bag))); // by identity
    EXPECT_TRUE(bag.retainAll(*listOf({3, 3, 1})));
    EXPECT_EQ(values(bag), (Values{1, 3}));
    EXPECT_TRUE(bag.removeAll(bag));
    addItems(*bag.content, {1, 2});
    bag.clear();
    EXPECT_TRUE(bag.isEmpty());
}

TEST(AbstractList, CallsThePrimitivesOfTheDerivedClass) {
    const auto other = listOf({5, 6});
    const std::pair<std::function<void(Recording & list)>, const char*> rows[] = {
        {[&](auto& list) { list.addAll(*other); }, "add add "},
        {[&](auto& list) { list.addAll(1, *other); }, "insert1 insert2 "},
        {[](auto& list) { list.clear(); }, "remove2 remove1 remove0 "},
        {[](auto& list) { list.contains(item(2)); }, "get0 get1 "},
        {[](auto& list) { values(list); }, "get0 get1 get2 "},
        {[](auto& list) { list.lastIndexOf(item(2)); }, "get2 get1 "},
        {[](auto& list) { list.remove(item(2)); }, "get0 get1 remove1 "},
        {[](auto& list) { list.hashCode(); }, "get0 get1 get2 "},
        {[&](auto& list) { list.compareTo(*other); }, "get0 "},
        {[&](auto& list) { list.equals(*other); }, ""},
        {[](auto& list) { list.createSubList(1, 2)->add(item(4)); }, "insert2 "},
        {[](auto& list) { list.createSubList(1, 2)->set(0, nullptr); }, "set1 "},
        {[](auto& list) { list.createSubList(1, 3)->indexOf(item(3)); }, "get1 get2 "},
        {[&](auto& list) { list.retainAll(*other); },
         "get0 get1 get2 get0 remove0 get0 remove0 get0 remove0 "},
    };
    for (const auto& [operation, calls] : rows) {
        Recording list;
        addItems(list, {1, 2, 3});
        list.takeLog();
        operation(list);
        EXPECT_EQ(list.takeLog(), calls);
    }
}
