#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <new>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qx::collections::pcom;
using util::Comparator;

namespace {

/// Has a count and nothing else.
class Plain : public ComObject {};

/// Cannot be compared or hashed.
class Broken : public Object {
public:
    int compareTo(const Object&) const override { throw CastFailedException(); }
    uint32_t hashCode() const override { throw std::bad_alloc(); }
};

int sign(int order) { return (order > 0) - (order < 0); }

// The order of the operations in the virtual tables is part of the interfaces.

/// Place of a virtual member in the table of its class, which a pointer to the member holds.
template <class Member>
std::ptrdiff_t slot(Member member) {
    std::ptrdiff_t encoded = 0;
    std::memcpy(&encoded, &member, sizeof encoded);
    return (encoded - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// The members follow each other in the table; from @p first on, if that is given.
template <class... Members>
void expectInOrder(std::ptrdiff_t first, Members... members) {
    const std::ptrdiff_t slots[] = {slot(members)...};
    for (std::size_t i = 0; i < std::size(slots); ++i)
        EXPECT_EQ(slots[i], (first < 0 ? slots[0] : first) + static_cast<std::ptrdiff_t>(i));
}

} // namespace

TEST(Comparator, AsksTheFirstObjectWhenItHasAnOrder) {
    const auto comparator = collections::GetDefaultComparator();
    const String apple(u"apple"), pear(u"pear"), anotherApple(u"apple");
    Plain plain;
    const struct {
        const IQXUnknown* a;
        const IQXUnknown* b;
        int order;
    } rows[] = {
        {apple.GetUnknown(), pear.GetUnknown(), -1},
        {apple.GetUnknown(), anotherApple.GetUnknown(), 0},
        {plain.GetUnknown(), plain.GetUnknown(), 0},
        {nullptr, nullptr, 0},
        {nullptr, plain.GetUnknown(), -1}, // addresses from here on
        {plain.GetUnknown(), nullptr, 1},
        {nullptr, apple.GetUnknown(), -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(sign(collections::compareElements(*comparator, row.a, row.b)), row.order);
    }
    Plain other; // without an order it is equal only to itself
    const auto order = [&](const Plain& a, const Plain& b) {
        return collections::compareElements(*comparator, a.GetUnknown(), b.GetUnknown());
    };
    EXPECT_EQ(order(plain, other) * order(other, plain), -1);
    EXPECT_EQ(collections::hashElement(*comparator, apple.GetUnknown()), apple.hashCode());
    EXPECT_EQ(collections::hashElement(*comparator, nullptr), 0u);
    EXPECT_EQ(collections::hashElement(*comparator, plain.GetUnknown()),
              static_cast<uint32_t>(reinterpret_cast<uintptr_t>(plain.GetUnknown())));
    EXPECT_EQ(apple.GetRefCount(), 0u);
}

TEST(Comparator, FailuresBecomeCodesAndComeOutAsExceptions) {
    Comparator comparator;
    const Broken broken;
    EXPECT_EQ(comparator.Compare(nullptr, nullptr, nullptr), result::NullPointer);
    EXPECT_EQ(comparator.Hash(nullptr, nullptr), result::NullPointer);
    qxtest::expectThrowsResult(CastFailedException().getResult(), [&] {
        const String other(u"other");
        collections::compareElements(comparator, broken.GetUnknown(), other.GetUnknown());
    });
    qxtest::expectThrowsResult(result::OutOfMemory,
                               [&] { collections::hashElement(comparator, broken.GetUnknown()); });
    qxtest::expectThrowsResult(result::NullPointer, [] { collections::ownedComparator(nullptr); });
}

TEST(Comparator, IsEqualToComparatorsOfExactlyItsClass) {
    class OtherComparator : public Comparator {};
    const Comparator one, two;
    const OtherComparator other;
    EXPECT_TRUE(one.equals(two));
    EXPECT_EQ(one.compareTo(two), 0);
    EXPECT_EQ(one.hashCode(), two.hashCode());
    EXPECT_FALSE(one.equals(other));
    EXPECT_THROW(one.compareTo(other), CastFailedException);
    EXPECT_THROW(one.compareTo(String(u"text")), CastFailedException);
    EXPECT_LT(one.compare(String(u"a"), String(u"b")), 0);
    EXPECT_EQ(one.hash(String(u"a")), String(u"a").hashCode());
    const auto shared = collections::GetDefaultComparator();
    EXPECT_EQ(shared, CQXCollections::getDefaultComparator());
    Reference<IQXComparator> self;
    EXPECT_EQ(shared->QueryInterface(IQXComparator::Iid, self.putVoid()), 0);
    EXPECT_EQ(self, shared);
}

TEST(InterfaceSlots, FollowTheUnknownSlotsInOrder) {
    expectInOrder(0, &IQXUnknown::QueryInterface, &IQXUnknown::AddRef, &IQXUnknown::Release,
                  &IQXComparator::Compare, &IQXComparator::Hash);
    expectInOrder(3, &ConstIterator::hasNext, &ConstIterator::next);
    expectInOrder(3, static_cast<bool (Collection::*)(IQXUnknown*)>(&Collection::add),
                  &Collection::addAll, &Collection::clear, &Collection::compareTo,
                  &Collection::contains, &Collection::containsAll, &Collection::createIterator,
                  &Collection::createConstIterator, &Collection::equals, &Collection::getSize,
                  &Collection::hashCode, &Collection::remove, &Collection::removeAll,
                  &Collection::retainAll);
    using MakeSet = Reference<Set> (Map::*)();
    using MakeConstSet = Reference<const Set> (Map::*)() const;
    using MakeCollection = Reference<Collection> (Map::*)();
    using MakeConstCollection = Reference<const Collection> (Map::*)() const;
    expectInOrder(3, &Map::clear, &Map::compareTo, &Map::containsKey, &Map::containsValue,
                  MakeConstSet(&Map::createEntrySet), MakeSet(&Map::createEntrySet),
                  MakeConstSet(&Map::createKeySet), MakeSet(&Map::createKeySet),
                  MakeConstCollection(&Map::createValueCollection),
                  MakeCollection(&Map::createValueCollection), &Map::equals, &Map::get,
                  &Map::getSize, &Map::hashCode, &Map::put, &Map::putAll, &Map::remove);
    expectInOrder(3, &MapEntry::compareTo, &MapEntry::equals, &MapEntry::getKey,
                  &MapEntry::getValue, &MapEntry::hashCode, &MapEntry::setValue);
    // Those of derived interfaces, behind what they derive from.
    using ConstView = Reference<const List> (List::*)(int, int) const;
    using View = Reference<List> (List::*)(int, int);
    expectInOrder(-1, static_cast<bool (List::*)(int, IQXUnknown*)>(&List::add),
                  static_cast<bool (List::*)(int, const Collection&)>(&List::addAll),
                  static_cast<Reference<IQXUnknown> (List::*)(int)>(&List::remove),
                  &List::createListIterator, &List::createConstListIterator,
                  ConstView(&List::createSubList), View(&List::createSubList), &List::get,
                  &List::indexOf, &List::lastIndexOf, &List::set);
    expectInOrder(-1, &ConstListIterator::hasPrevious, &ConstListIterator::previous,
                  &ConstListIterator::nextIndex, &ConstListIterator::previousIndex);
    expectInOrder(-1, &ListIterator::add, &ListIterator::set);
}
