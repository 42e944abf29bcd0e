#pragma once

#include <qx/collections/pcom/AnyElement.h>
#include <qx/collections/pcom/ConstListIterator.h>
#include <qx/collections/pcom/Iterator.h>

namespace qx::collections::pcom {

/// A walk over a list in both directions that can change the list where it stands.
class QX_API ListIterator : public virtual Iterator, public virtual ConstListIterator {
public:
    /// Inserts @p element, which may be null, before the place where the walk stands, so that it
    /// does not come up next. An element without references is destroyed when that fails.
    /// @return true when the list has taken it
    /// @throws Exception when the list was changed otherwise
    virtual bool add(IQXUnknown* element) = 0;
    /// Replaces the element last returned; may be repeated.
    /// @throws IllegalStateException when nothing was returned since the start or the last add or
    ///     remove through this iterator
    /// @throws Exception when the list was changed otherwise
    virtual void set(IQXUnknown* element) = 0;

    bool add(const SomeElement auto& element) { return add(unknownFor(element)); }
    void set(const SomeElement auto& element) { set(unknownFor(element)); }

protected:
    ~ListIterator() = default;
};

} // namespace qx::collections::pcom

using CQXListIterator = qx::collections::pcom::ListIterator;
