#pragma once

#include <cstdint>

#include <qx/collections/pcom/AbstractCollection.h>
#include <qx/collections/pcom/List.h>
#include <qx/core/Required.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// Skeleton of a list. A class over it provides getSize, get, set, add and remove at an index; the
/// other operations, the iterators and the views call these. One that is faster at adding to the
/// end overrides add.
///
/// The list counts its changes, and iterators and views that find the count moved by others throw
/// Exception. A class over this one calls countChange after each change that they have to notice:
/// one for every add, remove and set at an index.
class QX_API AbstractList : public AbstractCollection, public virtual List {
public:
    using AbstractCollection::addAll;
    using AbstractCollection::remove;
    using List::add;
    using List::indexOf;
    using List::lastIndexOf;
    using List::set;

    /// Through a list iterator at the end.
    /// @return true
    bool add(IQXUnknown* element) override;
    bool add(int index, IQXUnknown* element) override = 0;
    bool addAll(int index, const Collection& other) override;
    /// Order of the first pair of elements that are not equal, by the comparator of this list; a
    /// list comes behind a shorter one that it begins with.
    /// @throws CastFailedException when @p other is not a List
    int compareTo(const Object& other) const override;
    Reference<ConstIterator> createConstIterator() const override;
    Reference<ConstListIterator> createConstListIterator(int index) const override;
    Reference<Iterator> createIterator() override;
    Reference<ListIterator> createListIterator(int index) override;
    Reference<const List> createSubList(int from, int to) const override;
    Reference<List> createSubList(int from, int to) override;
    /// True for a List of equal elements in the same order, by the comparator of this list.
    bool equals(const Object& other) const override;
    Reference<IQXUnknown> get(int index) const override = 0;
    /// From 1, for each element: times 38, plus the comparator's hash of it.
    uint32_t hashCode() const override;
    int indexOf(const IQXUnknown* element) const override;
    int lastIndexOf(const IQXUnknown* element) const override;
    Reference<IQXUnknown> remove(int index) override = 0;
    Reference<IQXUnknown> set(int index, IQXUnknown* element) override = 0;

protected:
    AbstractList() = default;
    explicit AbstractList(const IQXComparator* comparator);
    /// Shares the comparator and begins with no changes counted.
    AbstractList(const AbstractList& other);
    ~AbstractList() override = default;

    /// compareTo for a list.
    int compareToList(const List& other) const;

    void countChange() noexcept { ++m_modificationCount; }

    /// @throws RangeErrorException unless 0 <= @p index < @p size
    static void checkElementIndex(int index, int size) {
        if (static_cast<unsigned int>(index) >= static_cast<unsigned int>(size)) [[unlikely]]
            throwOutOfRange(index, size);
    }
    /// @throws RangeErrorException unless 0 <= @p index <= @p size
    static void checkPosition(int index, int size) {
        if (static_cast<unsigned int>(index) > static_cast<unsigned int>(size)) [[unlikely]]
            throwOutOfRange(index, size);
    }

private:
    template <class>
    friend class ListIteratorOf;
    template <class>
    friend struct ListAccess;
    friend class AbstractListSubList;

    uint32_t m_modificationCount = 0;
};

} // namespace qx::collections::pcom
