#pragma once

#include <qx/collections/pcom/AbstractCollection.h>
#include <qx/collections/pcom/Set.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// Skeleton of a set: that of a collection. A class over it that accepts additions sees to it that
/// no two elements are equal.
class QX_API AbstractSet : public AbstractCollection, public virtual Set {
protected:
    AbstractSet() = default;
    /// @throws ResultException with result::NullPointer when @p comparator is null
    explicit AbstractSet(const IQXComparator* comparator) : AbstractCollection(comparator) {}
    /// Shares the comparator; elements are up to the derived class.
    AbstractSet(const AbstractSet& other) : AbstractCollection(other) {}
    ~AbstractSet() override = default;
};

} // namespace qx::collections::pcom
