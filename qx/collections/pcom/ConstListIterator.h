#pragma once

#include <qx/collections/pcom/ConstIterator.h>

namespace qx::collections::pcom {

/// A walk over a list in both directions. It stands between two elements.
class QX_API ConstListIterator : public virtual ConstIterator {
public:
    /// True while previous has something to return. Does not look for changes of the list.
    virtual bool hasPrevious() const = 0;
    /// Goes back over one element and returns it; null is an element.
    /// @throws Exception when the list was changed, or as the iterator says at the start
    virtual Reference<IQXUnknown> previous() = 0;
    /// Index of the element that next returns; the size of the list at its end.
    virtual int nextIndex() const = 0;
    /// Index of the element that previous returns; -1 at the start.
    virtual int previousIndex() const = 0;

protected:
    ~ConstListIterator() = default;
};

} // namespace qx::collections::pcom

using CQXConstListIterator = qx::collections::pcom::ConstListIterator;
