#pragma once

#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

class ConstIterator;

/// How the ranges of the language go through the library's own collections: a step is one call, and
/// what it comes to is lent, not counted. It is the walk of an iterator, which goes on from where
/// the steps have come to, and notices the same changes.
class LendingWalk {
public:
    /// The walk of @p iterator when that is one of the library's own; null for any other, whose
    /// operations have to be called.
    QX_API static LendingWalk* of(ConstIterator* iterator);

    /// Goes on to the next element, which may be null; false at the end. The caller holds what was
    /// lent before it does anything else, and then calls drop.
    /// @throws Exception when the collection was changed behind its back
    virtual bool step(IQXUnknown*& element) = 0;
    /// The same for a walk over entries, by key and value.
    virtual bool stepEntry(IQXUnknown*& key, IQXUnknown*& value) = 0;
    virtual bool isOfEntries() const noexcept = 0;

    /// Releases what the walk no longer needs.
    void drop() noexcept {
        if (m_dropped) [[unlikely]]
            m_dropped.reset();
    }

protected:
    ~LendingWalk() = default;

    Reference<IQXUnknown> m_dropped;
};

} // namespace qx::collections::pcom
