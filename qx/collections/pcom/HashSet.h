#pragma once

#include <cstdint>
#include <initializer_list>

#include <qx/collections/pcom/AbstractSet.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

class HashMap;

/// A set in the keys of a HashMap, whose costs, order and count of changes it has.
class QX_API HashSet : public AbstractSet {
public:
    using AbstractSet::add;
    using AbstractSet::contains;
    using AbstractSet::remove;
    using InitialElement = AnyElement;

    /// Empty, with the default comparator.
    HashSet();
    /// Holds @p elements, of equal ones the first, and the default comparator.
    HashSet(std::initializer_list<AnyElement> elements) : HashSet() {
        for (const AnyElement& element : elements)
            HashSet::add(element.get());
    }
    /// @throws ResultException with result::NullPointer when @p comparator is null
    explicit HashSet(const IQXComparator* comparator);
    /// Holds the elements of @p other, and the default comparator.
    explicit HashSet(const Collection& other);
    HashSet(const Collection& other, const IQXComparator* comparator);
    /// Shares the elements and the comparator.
    HashSet(const HashSet& other);
    ~HashSet() override;

    bool add(IQXUnknown* element) override;
    void clear() override;
    /// Not an order of any use: -1 when an element is missing in @p other, else the difference of
    /// the sizes, which is 0 for sets of equal elements.
    /// @throws CastFailedException when @p other is not a HashSet
    int compareTo(const Object& other) const override;
    bool contains(const IQXUnknown* element) const override;
    Reference<ConstIterator> createConstIterator() const override;
    Reference<Iterator> createIterator() override;
    /// True for a HashSet of equal elements, in any order.
    /// @throws CastFailedException when @p other is not a HashSet
    bool equals(const Object& other) const override;
    int getSize() const override;
    uint32_t hashCode() const override;
    bool remove(const IQXUnknown* element) override;

private:
    const Reference<HashMap> m_map;
};

} // namespace qx::collections::pcom

using CQXHashSet = qx::collections::pcom::HashSet;
