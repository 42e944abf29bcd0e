#include "qx/collections/pcom/LinkedList.h"

#include <iterator>
#include <utility>

#include <qx/collections/detail/ReleaseAll.h>
#include <qx/collections/pcom/detail/Sizes.h>

namespace qx::collections::pcom {

namespace {

void checkRoomForOne(int size) { detail::checkRoom(size, "list<T> too long"); }

/// The element of a node, to be changed by who may change the list.
Reference<IQXUnknown>& elementOf(std::list<Reference<IQXUnknown>>::const_iterator node) {
    return const_cast<Reference<IQXUnknown>&>(*node);
}

} // namespace

LinkedList::LinkedList(const IQXComparator* comparator) : AbstractList(comparator) {}

// Delegating, so that the destructor releases what was added when addAll fails.
LinkedList::LinkedList(const Collection& other) : LinkedList() { LinkedList::addAll(other); }

LinkedList::LinkedList(const Collection& other, const IQXComparator* comparator)
    : LinkedList(comparator) {
    LinkedList::addAll(other);
}

LinkedList::LinkedList(const LinkedList& other) : LinkedList(other, &other.comparator()) {}

LinkedList::~LinkedList() {
    collections::detail::releaseAll(*this, [this] { takeAll(); });
}

bool LinkedList::add(IQXUnknown* element) {
    Reference<IQXUnknown> owned(element);
    checkRoomForOne(getSize());
    m_nodes.push_back(std::move(owned));
    return true;
}

bool LinkedList::add(int index, IQXUnknown* element) { return insert(index, element, m_finger); }

void LinkedList::clear() {
    const Nodes released = takeAll();
    countChange();
}

Reference<IQXUnknown> LinkedList::get(int index) const {
    checkElementIndex(index, getSize());
    return *nodeAt(index);
}

Reference<IQXUnknown> LinkedList::remove(int index) { return takeOut(index, m_finger); }

Reference<IQXUnknown> LinkedList::set(int index, IQXUnknown* element) {
    return replace(index, element, m_finger);
}

LinkedList::Nodes::const_iterator LinkedList::nodeAt(int index) const {
    if (index == 0 || m_fingerInUse.test_and_set(std::memory_order_acquire))
        return std::next(m_nodes.begin(), index);
    const auto node = nodeAt(index, m_finger);
    m_fingerInUse.clear(std::memory_order_release);
    return node;
}

// Each change also puts the finger of the list where it leaves that of the caller, which may be an
// iterator's: left alone, it might stand on a node that is gone or that has another index now.

bool LinkedList::insert(int index, IQXUnknown* element, Finger& finger) {
    Reference<IQXUnknown> owned(element);
    checkPosition(index, getSize());
    checkRoomForOne(getSize());
    const auto behind = index == getSize() ? m_nodes.cend() : nodeAt(index, finger);
    m_finger = finger = {m_nodes.insert(behind, std::move(owned)), index};
    countChange();
    return true;
}

Reference<IQXUnknown> LinkedList::takeOut(int index, Finger& finger) {
    checkElementIndex(index, getSize());
    auto node = nodeAt(index, finger);
    auto removed = std::move(elementOf(node));
    node = m_nodes.erase(node);
    if (node != m_nodes.end())
        finger = {node, index};
    else if (index > 0)
        finger = {std::prev(node), index - 1};
    else
        finger = {};
    m_finger = finger;
    countChange();
    return removed;
}

Reference<IQXUnknown> LinkedList::replace(int index, IQXUnknown* element, Finger& finger) {
    Reference<IQXUnknown> owned(element);
    checkElementIndex(index, getSize());
    owned.swap(elementOf(nodeAt(index, finger)));
    countChange();
    return owned;
}

LinkedList::Nodes LinkedList::takeAll() noexcept {
    m_finger = {};
    return std::exchange(m_nodes, {});
}

} // namespace qx::collections::pcom
