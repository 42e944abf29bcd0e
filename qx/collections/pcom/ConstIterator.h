#pragma once

#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// A walk over the elements of a collection, which it keeps alive.
///
/// It notices when the collection was changed behind its back, as far as the collection counts its
/// changes, and then throws a plain qx::Exception.
class QX_API ConstIterator : public IQXUnknown {
public:
    /// True while next has something to return. Does not look for changes of the collection.
    virtual bool hasNext() const = 0;
    /// Returns the next element, which may be null, and goes on behind it.
    /// @throws Exception when the collection was changed, or as the iterator says at the end
    virtual Reference<IQXUnknown> next() = 0;

protected:
    ~ConstIterator() = default;
};

} // namespace qx::collections::pcom

using CQXConstIterator = qx::collections::pcom::ConstIterator;
