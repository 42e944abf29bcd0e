#pragma once

#include <cstdint>
#include <iterator>

#include <qx/collections/Element.h>
#include <qx/collections/InputIterator.h>
#include <qx/collections/TypedIterator.h>
#include <qx/collections/pcom/Collection.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// A collection of component objects seen as one of elements of type @p T, a class derived from
/// Object. The facade and what it wraps are one collection: a change through either is seen through
/// both, and what it wraps lives as long as the facade.
///
/// Each operation is that of the wrapped collection and throws what it throws. An element that is
/// not a T raises CastFailedException when it is asked for. A facade compares as what it wraps,
/// with another facade or with a collection of component objects.
///
/// What a T can be made of, a text for a String or a number for a boxed one, stands for an element
/// wherever one is handed in.
///
/// An input range of its elements, each a Reference<T>:
///
///     for (const auto& element : collection)
template <class T>
class Collection : public Object {
public:
    /// @param wrapped  not null; kept by a reference
    /// @throws ResultException with result::NullPointer
    explicit Collection(pcom::Collection* wrapped) : m_wrapped(required(wrapped)) {}

    int compareTo(const Object& other) const override {
        return m_wrapped->compareTo(unwrapped(*this, other));
    }
    bool equals(const Object& other) const override {
        return m_wrapped->equals(unwrapped(*this, other));
    }
    uint32_t hashCode() const override { return m_wrapped->hashCode(); }

    virtual bool add(T* element) { return m_wrapped->add(unknownOf(element)); }
    virtual bool contains(const T* element) const {
        return m_wrapped->contains(unknownOf(element));
    }
    virtual bool remove(const T* element) { return m_wrapped->remove(unknownOf(element)); }
    virtual bool addAll(const Collection& other) { return m_wrapped->addAll(*other.m_wrapped); }
    virtual void clear() { m_wrapped->clear(); }
    virtual Reference<Iterator<T>> createIterator() {
        return makeReference<Iterator<T>>(m_wrapped->createIterator());
    }
    virtual Reference<ConstIterator<T>> createConstIterator() const {
        return makeReference<ConstIterator<T>>(
            static_cast<const pcom::Collection*>(m_wrapped)->createConstIterator());
    }
    virtual int getSize() const { return m_wrapped->getSize(); }
    virtual bool isEmpty() const { return getSize() == 0; }
    virtual bool removeAll(const Collection& other) {
        return m_wrapped->removeAll(*other.m_wrapped);
    }
    virtual bool retainAll(const Collection& other) {
        return m_wrapped->retainAll(*other.m_wrapped);
    }

    /// True when every element of @p other is contained.
    bool containsAll(const Collection& other) const {
        return m_wrapped->containsAll(*other.m_wrapped);
    }
    template <ValueFor<T> V>
    bool add(const V& value) {
        return add(newElement<T>(value).get());
    }
    template <SoughtFor<T> V>
    bool contains(const V& value) const {
        return contains(Sought<T, V>(value).get());
    }
    /// Not by a number, which is a position in lists.
    template <SoughtFor<T> V>
    requires(!std::is_arithmetic_v<V>) bool remove(const V& value) {
        return remove(Sought<T, V>(value).get());
    }

    pcom::Collection* getWrapped() const noexcept { return m_wrapped; }

    InputIterator<ConstIterator<T>> begin() const {
        return InputIterator<ConstIterator<T>>(createConstIterator());
    }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    const Reference<pcom::Collection> m_wrapped;
};

} // namespace qx::collections

// The library has these for every program that uses it.
namespace qx {
class Integer32;
class String;

extern template class QX_API collections::Collection<Integer32>;
extern template class QX_API collections::Collection<String>;
} // namespace qx
