#pragma once

#include <qx/collections/Collection.h>
#include <qx/collections/pcom/List.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// A list of component objects seen as one of elements of type @p T. Positions count from 0; one
/// out of range raises RangeErrorException.
template <class T>
class List : public Collection<T> {
public:
    using Collection<T>::add;
    using Collection<T>::addAll;
    using Collection<T>::remove;

    /// @param wrapped  not null; kept by a reference
    /// @throws ResultException with result::NullPointer
    explicit List(pcom::List* wrapped) : Collection<T>(wrapped), m_list(wrapped) {}

    /// Inserts before the element at @p index, 0 to the size.
    virtual bool add(int index, T* element) { return m_list->add(index, unknownOf(element)); }
    virtual bool addAll(int index, const Collection<T>& other) {
        return m_list->addAll(index, *other.getWrapped());
    }
    /// Removes the element at @p index and returns it.
    virtual Reference<T> remove(int index) { return elementAs<T>(m_list->remove(index)); }
    /// A walk that begins before the element at @p index, 0 to the size.
    virtual Reference<ListIterator<T>> createListIterator(int index) {
        return makeReference<ListIterator<T>>(m_list->createListIterator(index));
    }
    virtual Reference<ConstListIterator<T>> createConstListIterator(int index) const {
        return makeReference<ConstListIterator<T>>(m_list->createConstListIterator(index));
    }
    /// A live view of the half-open range [@p from, @p to).
    virtual Reference<const List> createSubList(int from, int to) const {
        return makeReference<List>(m_list->createSubList(from, to));
    }
    virtual Reference<List> createSubList(int from, int to) {
        return makeReference<List>(m_list->createSubList(from, to));
    }
    virtual Reference<T> get(int index) const { return elementAs<T>(m_list->get(index)); }
    /// Position of the first equal element, or -1.
    virtual int indexOf(const T* element) const { return m_list->indexOf(unknownOf(element)); }
    /// Position of the last equal element, or -1.
    virtual int lastIndexOf(const T* element) const {
        return m_list->lastIndexOf(unknownOf(element));
    }
    /// Replaces the element at @p index and returns the previous one.
    virtual Reference<T> set(int index, T* element) {
        return elementAs<T>(m_list->set(index, unknownOf(element)));
    }

private:
    const Reference<pcom::List> m_list;
};

} // namespace qx::collections

// The library has these for every program that uses it.
namespace qx {
class String;

extern template class QX_API collections::List<String>;
} // namespace qx
