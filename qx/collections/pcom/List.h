#pragma once

#include <qx/collections/pcom/Collection.h>
#include <qx/collections/pcom/ConstListIterator.h>
#include <qx/collections/pcom/ElementOrder.h>
#include <qx/collections/pcom/ListIterator.h>

namespace qx::collections::pcom {

/// A collection in a fixed order. Positions count from 0; one that is out of its range raises
/// RangeErrorException before anything is changed.
class QX_API List : public virtual Collection {
public:
    using Collection::add;
    using Collection::addAll;
    using Collection::remove;

    /// Inserts @p element before position @p index, 0 to the size.
    /// @return true when the list has changed
    virtual bool add(int index, IQXUnknown* element) = 0;
    /// Inserts the elements of @p other in their order, the first of them at @p index, 0 to the
    /// size. @p other may be the list itself, but not a view of it.
    /// @return true when there were any
    virtual bool addAll(int index, const Collection& other) = 0;
    /// Removes the element at @p index, 0 to the size less 1, and returns it.
    virtual Reference<IQXUnknown> remove(int index) = 0;
    /// A walk that begins before the element at @p index, 0 to the size.
    virtual Reference<ListIterator> createListIterator(int index) = 0;
    virtual Reference<ConstListIterator> createConstListIterator(int index) const = 0;
    /// A live view of the half-open range [@p from, @p to), which keeps the list alive. Once the
    /// list counts a change that was not made through the view, the view throws Exception.
    virtual Reference<const List> createSubList(int from, int to) const = 0;
    virtual Reference<List> createSubList(int from, int to) = 0;
    /// The element at @p index, 0 to the size less 1.
    virtual Reference<IQXUnknown> get(int index) const = 0;
    /// Position of the first element that is equal to @p element, or -1.
    virtual int indexOf(const IQXUnknown* element) const = 0;
    /// Position of the last element that is equal to @p element, or -1.
    virtual int lastIndexOf(const IQXUnknown* element) const = 0;
    /// Replaces the element at @p index, 0 to the size less 1, and returns the previous one.
    virtual Reference<IQXUnknown> set(int index, IQXUnknown* element) = 0;

    bool add(int index, const SomeElement auto& element) { return add(index, unknownFor(element)); }
    int indexOf(const SoughtElement auto& element) const { return indexOf(SoughtUnknown(element)); }
    int lastIndexOf(const SoughtElement auto& element) const {
        return lastIndexOf(SoughtUnknown(element));
    }
    Reference<IQXUnknown> set(int index, const SomeElement auto& element) {
        return set(index, unknownFor(element));
    }

    /// Sorts by the natural order, so that equal elements keep their order and null comes first.
    /// What fails leaves the list as it was; see sortList.
    void sort() { sortList(*this); }
    /// @throws ResultException with result::NullPointer, or with the code of the comparator
    void sort(const IQXComparator* comparator) { sortList(*this, comparator); }
    /// @param compare  takes two elements as `const Object&` and returns whether the first comes
    ///     before the second, or how the two compare, as Object::compareTo does
    /// @throws CastFailedException for an element that is no Object
    template <class Compare>
    requires(!std::convertible_to<Compare, const IQXComparator*>) void sort(Compare compare) {
        sortListOf<Object>(*this, compare);
    }

protected:
    ~List() = default;
};

} // namespace qx::collections::pcom

using CQXList = qx::collections::pcom::List;
