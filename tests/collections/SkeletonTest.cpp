#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/Exception.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

// Which operations of a derived class the skeletons and lists call.

using namespace qxtest;
using qx::Reference;
using qx::collections::pcom::AbstractCollection;
using qx::collections::pcom::ArrayList;

using Values = std::vector<int>;

namespace {

/// A collection with what the skeleton asks for, and no additions.
class Bag : public AbstractCollection {
public:
    Bag() = default;
    explicit Bag(const IQXComparator* comparator) : AbstractCollection(comparator) {}

    Reference<qx::collections::pcom::Iterator> createIterator() override {
        return m_content->createIterator();
    }
    Reference<qx::collections::pcom::ConstIterator> createConstIterator() const override {
        return m_content->createConstIterator();
    }
    int getSize() const override { return m_content->getSize(); }

    ArrayList& content() { return *m_content; }

private:
    Reference<ArrayList> m_content{new ArrayList()};
};

/// Writes down what it is asked for.
class Recording : public ArrayList {
public:
    using ArrayList::remove;

    bool add(IQXUnknown* element) override {
        m_log += "add ";
        return ArrayList::add(element);
    }
    bool add(int index, IQXUnknown* element) override {
        m_log += "insert" + std::to_string(index) + ' ';
        return ArrayList::add(index, element);
    }
    Reference<IQXUnknown> get(int index) const override {
        m_log += "get" + std::to_string(index) + ' ';
        return ArrayList::get(index);
    }
    Reference<IQXUnknown> remove(int index) override {
        m_log += "remove" + std::to_string(index) + ' ';
        return ArrayList::remove(index);
    }
    Reference<IQXUnknown> set(int index, IQXUnknown* element) override {
        m_log += "set" + std::to_string(index) + ' ';
        return ArrayList::set(index, element);
    }

    std::string takeLog() { return std::exchange(m_log, {}); }

private:
    mutable std::string m_log;
};

} // namespace

TEST(AbstractCollection, BuildsOnItsIterators) {
    Bag bag;
    addItems(bag.content(), {1, 2, 1, 3});
    EXPECT_THROW(bag.add((new Item(1))->GetUnknown()), qx::UnsupportedOperationException);
    EXPECT_THROW(bag.addAll(bag), qx::UnsupportedOperationException);
    EXPECT_EQ(Item::alive(), 4);
    EXPECT_FALSE(bag.addAll(ArrayList()));
    EXPECT_TRUE(bag.contains(item(3)));
    EXPECT_TRUE(bag.remove(item(1)));
    EXPECT_FALSE(bag.remove(item(7)));
    EXPECT_EQ(values(bag), (Values{2, 1, 3}));
    EXPECT_TRUE(bag.containsAll(bag.content()));
    EXPECT_FALSE(bag.equals(Bag(bag))); // compared by identity
    EXPECT_EQ(bag.compareTo(bag), 0);
    ArrayList retained;
    addItems(retained, {3, 3, 1});
    EXPECT_TRUE(bag.retainAll(retained));
    EXPECT_EQ(values(bag), (Values{1, 3}));
    EXPECT_TRUE(bag.removeAll(bag));
    EXPECT_TRUE(bag.isEmpty());
    addItems(bag.content(), {1, 2});
    bag.clear();
    EXPECT_TRUE(bag.isEmpty());
}

TEST(AbstractCollection, SharesTheComparatorAndNeedsOne) {
    const auto comparator = qx::makeReference<FailingComparator>();
    Bag bag(comparator.get());
    {
        const Bag copy(bag);
        EXPECT_EQ(comparator->GetRefCount(), 3u);
    }
    EXPECT_EQ(comparator->GetRefCount(), 2u);
    expectThrowsResult(qx::result::NullPointer,
                       [] { Bag(static_cast<const IQXComparator*>(nullptr)); });
}

TEST(AbstractList, CallsThePrimitivesOfTheDerivedClass) {
    ArrayList other;
    addItems(other, {5, 6});
    const struct {
        void (*operation)(Recording& list, const ArrayList& other);
        const char* calls;
    } rows[] = {
        {[](Recording& list, const ArrayList& o) { list.addAll(o); }, "add add "},
        {[](Recording& list, const ArrayList& o) { list.addAll(1, o); }, "insert1 insert2 "},
        {[](Recording& list, const ArrayList&) { list.clear(); }, "remove2 remove1 remove0 "},
        {[](Recording& list, const ArrayList&) { list.contains(item(2)); }, "get0 get1 "},
        {[](Recording& list, const ArrayList&) { values(list); }, "get0 get1 get2 "},
        {[](Recording& list, const ArrayList&) { list.lastIndexOf(item(2)); }, "get2 get1 "},
        {[](Recording& list, const ArrayList&) { list.remove(item(2)); }, "get0 get1 remove1 "},
        {[](Recording& list, const ArrayList&) { list.hashCode(); }, "get0 get1 get2 "},
        {[](Recording& list, const ArrayList& o) { list.compareTo(o); }, "get0 "},
        {[](Recording& list, const ArrayList& o) { list.equals(o); }, ""},
        {[](Recording& list, const ArrayList&) { list.createSubList(1, 2)->add(item(4)); },
         "insert2 "},
        {[](Recording& list, const ArrayList&) { list.createSubList(1, 2)->set(0, nullptr); },
         "set1 "},
        {[](Recording& list, const ArrayList&) { list.createSubList(1, 3)->indexOf(item(3)); },
         "get1 get2 "},
        {[](Recording& list, const ArrayList& o) { list.retainAll(o); },
         "get0 get1 get2 get0 remove0 get0 remove0 get0 remove0 "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        Recording list;
        addItems(list, {1, 2, 3});
        list.takeLog();
        row.operation(list, other);
        EXPECT_EQ(list.takeLog(), row.calls);
    }
}
