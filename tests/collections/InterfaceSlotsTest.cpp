#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <qx/collections/IComparator.h>
#include <qx/collections/pcom/List.h>
#include <qx/collections/pcom/Map.h>
#include <qx/collections/pcom/MapEntry.h>

// The order of the operations in the virtual tables is part of the interfaces.

using namespace qx::collections::pcom;
using qx::Object;
using qx::Reference;

namespace {

/// Place of a virtual member in the table of its class, which a pointer to the member holds.
template <class Member>
std::ptrdiff_t slot(Member member) {
    std::ptrdiff_t encoded = 0;
    std::memcpy(&encoded, &member, sizeof encoded);
    return (encoded - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/// The slots count up by one from @p first on.
void expectInOrder(const std::vector<std::ptrdiff_t>& slots, std::ptrdiff_t first) {
    for (std::size_t i = 0; i < slots.size(); ++i)
        EXPECT_EQ(slots[i], first + static_cast<std::ptrdiff_t>(i));
}

} // namespace

TEST(InterfaceSlots, OfRootInterfacesFollowTheUnknownSlots) {
    expectInOrder({slot(&IQXUnknown::QueryInterface), slot(&IQXUnknown::AddRef),
                   slot(&IQXUnknown::Release), slot(&IQXComparator::Compare),
                   slot(&IQXComparator::Hash)},
                  0);
    expectInOrder({slot(&ConstIterator::hasNext), slot(&ConstIterator::next)}, 3);
    expectInOrder(
        {slot(static_cast<bool (Collection::*)(IQXUnknown*)>(&Collection::add)),
         slot(&Collection::addAll), slot(&Collection::clear), slot(&Collection::compareTo),
         slot(&Collection::contains), slot(&Collection::containsAll),
         slot(&Collection::createIterator), slot(&Collection::createConstIterator),
         slot(&Collection::equals), slot(&Collection::getSize), slot(&Collection::hashCode),
         slot(&Collection::remove), slot(&Collection::removeAll), slot(&Collection::retainAll)},
        3);
    using MakeSet = Reference<Set> (Map::*)();
    using MakeConstSet = Reference<const Set> (Map::*)() const;
    using MakeCollection = Reference<Collection> (Map::*)();
    using MakeConstCollection = Reference<const Collection> (Map::*)() const;
    expectInOrder({slot(&Map::clear), slot(&Map::compareTo), slot(&Map::containsKey),
                   slot(&Map::containsValue), slot(static_cast<MakeConstSet>(&Map::createEntrySet)),
                   slot(static_cast<MakeSet>(&Map::createEntrySet)),
                   slot(static_cast<MakeConstSet>(&Map::createKeySet)),
                   slot(static_cast<MakeSet>(&Map::createKeySet)),
                   slot(static_cast<MakeConstCollection>(&Map::createValueCollection)),
                   slot(static_cast<MakeCollection>(&Map::createValueCollection)),
                   slot(&Map::equals), slot(&Map::get), slot(&Map::getSize), slot(&Map::hashCode),
                   slot(&Map::put), slot(&Map::putAll), slot(&Map::remove)},
                  3);
    expectInOrder({slot(&MapEntry::compareTo), slot(&MapEntry::equals), slot(&MapEntry::getKey),
                   slot(&MapEntry::getValue), slot(&MapEntry::hashCode), slot(&MapEntry::setValue)},
                  3);
}

TEST(InterfaceSlots, OfDerivedInterfacesAreInOrder) {
    using ConstView = Reference<const List> (List::*)(int, int) const;
    using View = Reference<List> (List::*)(int, int);
    const auto firstOfList = slot(static_cast<bool (List::*)(int, IQXUnknown*)>(&List::add));
    expectInOrder({firstOfList,
                   slot(static_cast<bool (List::*)(int, const Collection&)>(&List::addAll)),
                   slot(static_cast<Reference<IQXUnknown> (List::*)(int)>(&List::remove)),
                   slot(&List::createListIterator), slot(&List::createConstListIterator),
                   slot(static_cast<ConstView>(&List::createSubList)),
                   slot(static_cast<View>(&List::createSubList)), slot(&List::get),
                   slot(&List::indexOf), slot(&List::lastIndexOf), slot(&List::set)},
                  firstOfList);
    expectInOrder({slot(&ConstListIterator::hasPrevious), slot(&ConstListIterator::previous),
                   slot(&ConstListIterator::nextIndex), slot(&ConstListIterator::previousIndex)},
                  slot(&ConstListIterator::hasPrevious));
    expectInOrder({slot(&ListIterator::add), slot(&ListIterator::set)}, slot(&ListIterator::add));
}
