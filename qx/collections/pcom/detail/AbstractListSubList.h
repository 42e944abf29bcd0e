#pragma once

#include <cstdint>

#include <qx/collections/pcom/AbstractList.h>

namespace qx::collections::pcom {

/// A live view of a range of a list. Everything is done by the parent, at indices shifted by the
/// offset; what was changed there by others since the last change through the view is noticed at
/// the next get, add, set or remove at an index.
///
/// A change through the view counts as a change of the view too, for the iterators and views on it.
class AbstractListSubList final : public AbstractList {
public:
    using AbstractList::add;
    using AbstractList::remove;

    /// View of [@p from, @p to).
    /// @throws RangeErrorException unless 0 <= @p from <= @p to <= the size of @p parent
    static Reference<AbstractListSubList> create(AbstractList* parent, int from, int to);

    bool add(int index, IQXUnknown* element) override;
    Reference<ConstListIterator> createConstListIterator(int index) const override;
    Reference<ListIterator> createListIterator(int index) override;
    Reference<IQXUnknown> get(int index) const override;
    int getSize() const override;
    Reference<IQXUnknown> remove(int index) override;
    Reference<IQXUnknown> set(int index, IQXUnknown* element) override;

private:
    class SubListIterator;
    class Change;

    AbstractListSubList(AbstractList* parent, int from, int to);

    Reference<SubListIterator> createIteratorAt(int index) const;
    /// @throws Exception when others have changed the parent
    void checkUnchanged() const;

    const Reference<AbstractList> m_parent;
    uint32_t m_snapshot;
    const int m_offset;
    int m_size;
};

} // namespace qx::collections::pcom
