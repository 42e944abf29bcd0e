#pragma once

#include <atomic>
#include <initializer_list>
#include <iterator>
#include <list>

#include <qx/collections/pcom/AbstractList.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// A list of doubly linked nodes. Adding at the end takes constant time. An index is reached from
/// the head or from the index reached last, whichever is nearer: a walk through the list, by an
/// iterator or by rising or falling indices, takes linear time, with any changes on its way.
///
/// add at the end is not counted as a change: iterators go on and views stay valid.
class QX_API LinkedList : public AbstractList {
public:
    using AbstractList::add;
    using AbstractList::remove;
    using AbstractList::set;
    using InitialElement = AnyElement;

    LinkedList() = default;
    /// Holds @p elements, and the default comparator. Objects and texts stand for elements as in
    /// add: LinkedList{first, u"second", nullptr}.
    LinkedList(std::initializer_list<AnyElement> elements) : LinkedList() {
        for (const AnyElement& element : elements)
            LinkedList::add(element.get());
    }
    /// @throws ResultException with result::NullPointer when @p comparator is null
    explicit LinkedList(const IQXComparator* comparator);
    /// Holds the elements of @p other, and the default comparator.
    explicit LinkedList(const Collection& other);
    LinkedList(const Collection& other, const IQXComparator* comparator);
    /// Shares the elements and the comparator.
    LinkedList(const LinkedList& other);
    ~LinkedList() override;

    bool add(IQXUnknown* element) override;
    bool add(int index, IQXUnknown* element) override;
    void clear() override;
    Reference<IQXUnknown> get(int index) const override;
    int getSize() const override { return static_cast<int>(m_nodes.size()); }
    Reference<IQXUnknown> remove(int index) override;
    Reference<IQXUnknown> set(int index, IQXUnknown* element) override;

private:
    template <class>
    friend struct ListAccess;

    using Nodes = std::list<Reference<IQXUnknown>>;

    /// A node whose index is known; none with index -1.
    struct Finger {
        Nodes::const_iterator node;
        int index = -1;
    };

    Nodes::const_iterator nodeAt(int index) const;
    Nodes::const_iterator nodeAt(int index, Finger& finger) const {
        const int distance = index - finger.index;
        const bool fromFinger = finger.index >= 0 && (distance < 0 ? -distance : distance) < index;
        finger.node =
            fromFinger ? std::next(finger.node, distance) : std::next(m_nodes.begin(), index);
        finger.index = index;
        return finger.node;
    }
    bool insert(int index, IQXUnknown* element, Finger& finger);
    Reference<IQXUnknown> takeOut(int index, Finger& finger);
    Reference<IQXUnknown> replace(int index, IQXUnknown* element, Finger& finger);
    Nodes takeAll() noexcept;

    Nodes m_nodes;
    mutable Finger m_finger;
    /// Keeps readers in several threads, who are safe from each other as long as nobody changes the
    /// list, from using the finger at once. Whoever changes the list needs it to himself anyway.
    mutable std::atomic_flag m_fingerInUse;
};

} // namespace qx::collections::pcom

using CQXLinkedList = qx::collections::pcom::LinkedList;
