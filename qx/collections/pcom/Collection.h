#pragma once

#include <cstdint>
#include <iterator>

#include <qx/collections/InputIterator.h>
#include <qx/collections/pcom/AnyElement.h>
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
/// element first. When it fails, the operation ends with a ResultException that has its code, and
/// elements that were added or removed by then stay so.
///
/// A collection and its iterators serve one thread at a time. Elements are handed in as their
/// unknown interface (ComObject::GetUnknown), or as a pointer or Reference to the object, and one
/// without references is destroyed when it is not taken. A text stands for a String of it:
///
///     list->add(qx::makeReference<qx::Double>(1.5));
///     list->add(u"text");
///     list->contains(u"text"); // true
///
/// A collection is an input range of its elements, each a Reference<IQXUnknown>:
///
///     for (const auto& element : list)
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

    bool add(const SomeElement auto& element) { return add(unknownFor(element)); }
    bool contains(const SoughtElement auto& element) const {
        return contains(SoughtUnknown(element));
    }
    bool remove(const SoughtElement auto& element) { return remove(SoughtUnknown(element)); }

    InputIterator<ConstIterator> begin() const {
        return InputIterator<ConstIterator>(createConstIterator());
    }
    std::default_sentinel_t end() const noexcept { return {}; }

protected:
    ~Collection() = default;
};

} // namespace qx::collections::pcom

using CQXCollection = qx::collections::pcom::Collection;
