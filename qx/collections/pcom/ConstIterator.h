#pragma once

#include <concepts>

#include <qx/collections/InputIterator.h>
#include <qx/collections/pcom/LendingWalk.h>
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

namespace qx::collections {

/// A step of what has an iterator over component objects: that of its lending walk, if it has one.
class LentStep {
protected:
    LentStep() = default;
    explicit LentStep(pcom::ConstIterator* iterator) : m_walk(pcom::LendingWalk::of(iterator)) {}

    pcom::LendingWalk* m_walk = nullptr;
};

template <std::derived_from<pcom::ConstIterator> Source>
class WalkStep<Source> : LentStep {
public:
    WalkStep() = default;
    explicit WalkStep(Source& source) : LentStep(&source) {}

    bool operator()(Source& source, Reference<IQXUnknown>& value) const {
        if (!m_walk)
            return goOn(source, value);
        IQXUnknown* element;
        if (!m_walk->step(element))
            return false;
        Reference<IQXUnknown> next(element);
        m_walk->drop();
        value.swap(next);
        return true;
    }
};

} // namespace qx::collections

using CQXConstIterator = qx::collections::pcom::ConstIterator;
