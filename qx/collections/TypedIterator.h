#pragma once

#include <qx/collections/Element.h>
#include <qx/collections/pcom/ConstIterator.h>
#include <qx/collections/pcom/ConstListIterator.h>
#include <qx/collections/pcom/Iterator.h>
#include <qx/collections/pcom/ListIterator.h>
#include <qx/platform/export.h>

/// @file
/// Iterators whose elements have a type. Each wraps an iterator over component objects, shares its
/// place and throws what it throws; an element that is not a T raises CastFailedException. A null
/// element stays null.
///
/// They come from the create members of the typed collections:
///
///     collections::List<String> names{u"a", u"", u"b"};
///     const auto walk = names.createIterator();
///     while (walk->hasNext())
///         if (walk->next()->isEmpty())
///             walk->remove();

namespace qx::collections {

/// A walk forward over elements of type @p T by the iterator interface @p Interface.
template <class T, class Interface>
class TypedWalk : public Object {
public:
    /// @param wrapped  not null; kept by a reference
    explicit TypedWalk(Interface* wrapped) : m_wrapped(required(wrapped)) {}

    bool hasNext() const { return m_wrapped->hasNext(); }
    Reference<T> next() { return elementAs<T>(m_wrapped->next()); }

    Interface* getWrapped() const noexcept { return m_wrapped; }

private:
    const Reference<Interface> m_wrapped;
};

/// A walk in both directions over the elements of a list.
template <class T, class Interface>
class TypedListWalk : public TypedWalk<T, Interface> {
public:
    using TypedWalk<T, Interface>::TypedWalk;

    bool hasPrevious() const { return this->getWrapped()->hasPrevious(); }
    Reference<T> previous() { return elementAs<T>(this->getWrapped()->previous()); }
    int nextIndex() const { return this->getWrapped()->nextIndex(); }
    int previousIndex() const { return this->getWrapped()->previousIndex(); }
};

template <class T>
class ConstIterator : public TypedWalk<T, pcom::ConstIterator> {
public:
    using TypedWalk<T, pcom::ConstIterator>::TypedWalk;
};

template <class T>
class Iterator : public TypedWalk<T, pcom::Iterator> {
public:
    using TypedWalk<T, pcom::Iterator>::TypedWalk;

    /// Removes the element that next returned last.
    void remove() { this->getWrapped()->remove(); }
};

template <class T>
class ConstListIterator : public TypedListWalk<T, pcom::ConstListIterator> {
public:
    using TypedListWalk<T, pcom::ConstListIterator>::TypedListWalk;
};

template <class T>
class ListIterator : public TypedListWalk<T, pcom::ListIterator> {
public:
    using TypedListWalk<T, pcom::ListIterator>::TypedListWalk;

    /// Inserts before the element that next would return.
    bool add(T* element) { return this->getWrapped()->add(unknownOf(element)); }
    /// Removes the element that was returned last.
    void remove() { this->getWrapped()->remove(); }
    /// Replaces the element that was returned last.
    void set(T* element) { this->getWrapped()->set(unknownOf(element)); }
};

/// A step of a typed iterator: an element of the class of the one before it needs no cast.
template <class T>
class TypedStep : LentStep {
public:
    TypedStep() = default;
    template <class Source>
    explicit TypedStep(Source& source) : LentStep(source.getWrapped()) {}

    template <class Source>
    bool operator()(Source& source, Reference<T>& value) {
        if (!m_walk)
            return goOn(source, value);
        IQXUnknown* element;
        if (!m_walk->step(element))
            return false;
        if (m_class.includes(element, value)) {
            Reference<T> next = m_class.cast(element);
            m_walk->drop();
            value.swap(next);
            return true;
        }
        const Reference<IQXUnknown> held(element);
        m_walk->drop();
        value = m_class.meet(held);
        return true;
    }

private:
    MetClass<T> m_class;
};

// Not for classes derived from these: they may have a next of their own.
template <class T>
class WalkStep<ConstIterator<T>> : public TypedStep<T> {
    using TypedStep<T>::TypedStep;
};
template <class T>
class WalkStep<Iterator<T>> : public TypedStep<T> {
    using TypedStep<T>::TypedStep;
};
template <class T>
class WalkStep<ConstListIterator<T>> : public TypedStep<T> {
    using TypedStep<T>::TypedStep;
};
template <class T>
class WalkStep<ListIterator<T>> : public TypedStep<T> {
    using TypedStep<T>::TypedStep;
};

} // namespace qx::collections

// The library has these for every program that uses it.
namespace qx {
class Integer32;
class String;

extern template class QX_API collections::ConstIterator<Integer32>;
extern template class QX_API collections::ConstIterator<String>;
extern template class QX_API collections::Iterator<Integer32>;
extern template class QX_API collections::Iterator<String>;
extern template class QX_API collections::ConstListIterator<String>;
extern template class QX_API collections::ListIterator<String>;
} // namespace qx
