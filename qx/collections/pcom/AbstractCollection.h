#pragma once

#include <cstdint>

#include <qx/collections/IComparator.h>
#include <qx/collections/pcom/Collection.h>
#include <qx/collections/pcom/Component.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// Skeleton of a collection. A class over it provides createIterator, createConstIterator and
/// getSize; one that accepts additions overrides add. The other operations call these, and remove
/// and contains of this object where they say so.
///
/// contains and remove visit the elements one by one; what takes another collection calls them for
/// each element of one of the two.
class QX_API AbstractCollection : public Component<Object, Collection> {
public:
    using Collection::add;
    using Collection::contains;
    using Collection::remove;

    AbstractCollection& operator=(const AbstractCollection&) = delete;

    /// @throws UnsupportedOperationException always
    bool add(IQXUnknown* element) override;
    /// Calls add for each element, in the order of @p other. The collection itself is added as it
    /// was before.
    bool addAll(const Collection& other) override;
    /// Removes through an iterator, first element first.
    void clear() override;
    /// By address, as Object does.
    int compareTo(const Object& other) const override;
    bool contains(const IQXUnknown* element) const override;
    /// Calls contains for each element up to the first that is missing.
    bool containsAll(const Collection& other) const override;
    /// True for the object itself, as Object does.
    bool equals(const Object& other) const override;
    uint32_t hashCode() const override;
    bool remove(const IQXUnknown* element) override;
    bool removeAll(const Collection& other) override;
    /// Calls remove for each element that @p other does not contain when its turn comes, in the
    /// order of this collection.
    bool retainAll(const Collection& other) override;

protected:
    /// With the default comparator.
    AbstractCollection();
    /// @throws ResultException with result::NullPointer when @p comparator is null
    explicit AbstractCollection(const IQXComparator* comparator);
    /// Shares the comparator; elements are up to the derived class.
    AbstractCollection(const AbstractCollection& other);
    ~AbstractCollection() override = default;

    IQXComparator& comparator() const noexcept { return *m_comparator; }

private:
    const Reference<IQXComparator> m_comparator;
};

} // namespace qx::collections::pcom
