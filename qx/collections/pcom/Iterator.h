#pragma once

#include <qx/collections/pcom/ConstIterator.h>

namespace qx::collections::pcom {

/// A walk that can remove what it comes across.
class QX_API Iterator : public virtual ConstIterator {
public:
    /// Removes the element last returned from the collection; the walk goes on as if it had not
    /// been there.
    /// @throws IllegalStateException when nothing was returned since the start or the last change
    ///     through this iterator
    /// @throws Exception when the collection was changed otherwise
    virtual void remove() = 0;

protected:
    ~Iterator() = default;
};

} // namespace qx::collections::pcom

using CQXIterator = qx::collections::pcom::Iterator;
