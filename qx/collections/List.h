#pragma once

#include <initializer_list>

#include <qx/collections/Collection.h>
#include <qx/collections/pcom/ArrayList.h>
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
    using InitialElement = Given<T>;

    /// Around a new ArrayList.
    List() : List(makeReference<pcom::ArrayList>()) {}
    /// Around a new ArrayList of @p elements: List<String>{u"one", u"two"}.
    List(std::initializer_list<Given<T>> elements) : List() {
        for (const Given<T>& element : elements)
            m_list->add(unknownOf(element.get()));
    }
    /// @param wrapped  not null; kept by a reference
    /// @throws ResultException with result::NullPointer
    explicit List(pcom::List* wrapped) : Collection<T>(wrapped), m_list(wrapped) {}

    /// Inserts before the element at @p index, 0 to the size.
    virtual bool add(int index, T* element) { return m_list->add(index, unknownOf(element)); }
    virtual bool addAll(int index, const Collection<T>& other) {
        return m_list->addAll(index, *other.getWrapped());
    }
    /// Removes the element at @p index and returns it.
    virtual Reference<T> remove(int index) {
        return takenAs<T>(m_list->remove(index),
                          [&](IQXUnknown* taken) { m_list->add(index, taken); });
    }
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
        return takenAs<T>(m_list->set(index, unknownOf(element)),
                          [&](IQXUnknown* taken) { m_list->set(index, taken); });
    }

    template <ValueFor<T> V>
    bool add(int index, const V& value) {
        return add(index, newElement<T>(value).get());
    }
    template <SoughtFor<T> V>
    int indexOf(const V& value) const {
        return indexOf(Sought<T, V>(value).get());
    }
    template <SoughtFor<T> V>
    int lastIndexOf(const V& value) const {
        return lastIndexOf(Sought<T, V>(value).get());
    }
    template <ValueFor<T> V>
    Reference<T> set(int index, const V& value) {
        return set(index, newElement<T>(value).get());
    }

    /// Sorts by the natural order, so that equal elements keep their order and null comes first.
    /// What fails leaves the list as it was; see pcom::sortList.
    void sort() { pcom::sortList(*m_list); }
    /// @throws ResultException with result::NullPointer, or with the code of the comparator
    void sort(const IQXComparator* comparator) { pcom::sortList(*m_list, comparator); }
    /// @param compare  takes two elements as `const T&` and returns whether the first comes before
    ///     the second, or how the two compare, as Object::compareTo does
    template <class Compare>
    requires(!std::convertible_to<Compare, const IQXComparator*>) void sort(Compare compare) {
        pcom::sortListOf<T>(*m_list, compare);
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
