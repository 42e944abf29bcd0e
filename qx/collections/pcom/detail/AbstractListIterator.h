#pragma once

#include <cstdint>

#include <qx/collections/pcom/AbstractList.h>
#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/ListIterator.h>

namespace qx::collections::pcom {

/// The iterator of every list: a cursor over what the list's get returns. What it removes or
/// replaces is released last, when list and iterator agree again.
class AbstractListIterator final : public Component<ComObject, ListIterator> {
public:
    /// @param cursor  index of the first element that next returns
    AbstractListIterator(AbstractList* list, int cursor);

    bool hasNext() const override;
    Reference<IQXUnknown> next() override;
    void remove() override;
    bool hasPrevious() const override;
    Reference<IQXUnknown> previous() override;
    int nextIndex() const override;
    int previousIndex() const override;
    bool add(IQXUnknown* element) override;
    void set(IQXUnknown* element) override;

private:
    /// @throws Exception when others have changed the list
    void checkUnchanged() const;
    /// @throws IllegalStateException when there is no element to change
    void checkReturned() const;

    const Reference<AbstractList> m_list;
    uint32_t m_expectedCount;
    int m_cursor;
    int m_lastReturned = -1;
};

} // namespace qx::collections::pcom
