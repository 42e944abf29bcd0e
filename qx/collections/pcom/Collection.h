#pragma once

#include <concepts>
#include <cstdint>
#include <iterator>
#include <utility>

#include <qx/collections/InputIterator.h>
#include <qx/collections/pcom/ConstIterator.h>
#include <qx/collections/pcom/Iterator.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// Elements that are component objects. A collection holds one reference to each of them, from the
/// moment it enters until it leaves; null is an element like any other.
///
/// Whether two elements are equal is up to the collection's comparator, which is handed the stored
/// element first. Its failure is thrown as ResultException with its code; the operation stops
/// where it stands, and what was moved by then stays moved.
///
/// A collection and its iterators serve one thread at a time. Elements are handed in as their
/// unknown interface (ComObject::GetUnknown), and one without references is destroyed when it is
/// not taken.
class QX_API Collection : public IQXUnknown {
public:
    /// Adds one element.
    /// @return true when the collection has changed
    /// @throws UnsupportedOperationException when it does not accept additions
    virtual bool add(IQXUnknown* element) = 0;
    /// Adds every element of @p other, which may be the collection itself.
    /// @return true when the collection has changed
    virtual bool addAll(const Collection& other) = 0;
    /// Removes every element.
    virtual void clear() = 0;
    /// Negative, 0 or positive: before, equal to or behind @p other.
    /// @throws CastFailedException when the two kinds have no order
    virtual int compareTo(const Object& other) const = 0;
    virtual bool contains(const IQXUnknown* element) const = 0;
    /// True when every element of @p other is contained; always so for an empty one.
    virtual bool containsAll(const Collection& other) const = 0;
    virtual Reference<Iterator> createIterator() = 0;
    virtual Reference<ConstIterator> createConstIterator() const = 0;
    virtual bool equals(const Object& other) const = 0;
    /// Number of elements.
    virtual int getSize() const = 0;
    virtual uint32_t hashCode() const = 0;
    /// Removes the first element that is equal to @p element.
    /// @return true when there was one
    virtual bool remove(const IQXUnknown* element) = 0;
    /// Calls remove once for each element of @p other, which may be the collection itself.
    /// @return true when anything was removed
    virtual bool removeAll(const Collection& other) = 0;
    /// Removes every element that @p other does not contain.
    /// @return true when anything was removed
    virtual bool retainAll(const Collection& other) = 0;

    bool isEmpty() const { return getSize() == 0; }

protected:
    ~Collection() = default;
};

// Every collection is an input range of its elements, each a Reference<IQXUnknown>:
//
//     for (const auto& element : list)
//
// Templates, and twice, because std::ranges::begin and end accept only an exact match.

template <std::derived_from<Collection> T>
InputIterator<ConstIterator> begin(const T& collection) {
    return InputIterator<ConstIterator>(collection.createConstIterator());
}
template <std::derived_from<Collection> T>
InputIterator<ConstIterator> begin(T& collection) {
    return begin(std::as_const(collection));
}

template <std::derived_from<Collection> T>
std::default_sentinel_t end(const T&) noexcept {
    return {};
}
template <std::derived_from<Collection> T>
std::default_sentinel_t end(T&) noexcept {
    return {};
}

} // namespace qx::collections::pcom

using CQXCollection = qx::collections::pcom::Collection;
