#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include <qx/collections/pcom/AbstractList.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/LendingWalk.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/collections/pcom/ListIterator.h>
#include <qx/collections/pcom/detail/Elements.h>
#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>

namespace qx::collections::pcom {

/// How an iterator works on its list: by the operations that a derived class may override.
template <class L>
struct ListAccess {
    static int size(const L& list) { return list.getSize(); }
    Reference<IQXUnknown> get(const L& list, int index) const { return list.get(index); }
    bool add(L& list, int index, IQXUnknown* element) { return list.add(index, element); }
    Reference<IQXUnknown> remove(L& list, int index) { return list.remove(index); }
    Reference<IQXUnknown> set(L& list, int index, IQXUnknown* element) {
        return list.set(index, element);
    }
};

/// The same for what is exactly an ArrayList.
template <>
struct ListAccess<ArrayList> {
    static int size(const ArrayList& list) { return list.ArrayList::getSize(); }
    IQXUnknown* lend(const ArrayList& list, int index) const {
        return list.m_elements[static_cast<std::size_t>(index)];
    }
    Reference<IQXUnknown> get(const ArrayList& list, int index) const {
        return list.ArrayList::get(index);
    }
    bool add(ArrayList& list, int index, IQXUnknown* element) {
        return list.ArrayList::add(index, element);
    }
    Reference<IQXUnknown> remove(ArrayList& list, int index) {
        return list.ArrayList::remove(index);
    }
    Reference<IQXUnknown> set(ArrayList& list, int index, IQXUnknown* element) {
        return list.ArrayList::set(index, element);
    }
    /// Lets @p element, which the list owns elsewhere, have this place. Whoever was there has to
    /// get another one before anybody looks at the list.
    static void place(ArrayList& list, std::size_t index, IQXUnknown* element) {
        if (std::exchange(list.m_elements[index], element) != element)
            list.countChange();
    }
};

/// The list behind @p collection when that is exactly an ArrayList, whose operations nobody has
/// overridden; else null.
inline ArrayList* exactArrayList(const Collection& collection) {
    struct Place {
        const void* table;
        std::ptrdiff_t displacement;
    };
    static const Place s_place = [] {
        ArrayList list;
        const Collection* const part = &list;
        return Place{qx::detail::functionTableOf(part),
                     reinterpret_cast<char*>(&list) - reinterpret_cast<const char*>(part)};
    }();
    if (qx::detail::functionTableOf(&collection) != s_place.table)
        return nullptr;
    char* const part = reinterpret_cast<char*>(const_cast<Collection*>(&collection));
    return reinterpret_cast<ArrayList*>(part + s_place.displacement);
}

/// The same for what is exactly a LinkedList, with a finger of the iterator's own.
template <>
struct ListAccess<LinkedList> {
    static int size(const LinkedList& list) { return list.LinkedList::getSize(); }
    IQXUnknown* lend(const LinkedList& list, int index) const {
        return *list.nodeAt(index, m_finger);
    }
    Reference<IQXUnknown> get(const LinkedList& list, int index) const {
        AbstractList::checkElementIndex(index, size(list));
        return lend(list, index);
    }
    bool add(LinkedList& list, int index, IQXUnknown* element) {
        return list.insert(index, element, m_finger);
    }
    Reference<IQXUnknown> remove(LinkedList& list, int index) {
        return list.takeOut(index, m_finger);
    }
    Reference<IQXUnknown> set(LinkedList& list, int index, IQXUnknown* element) {
        return list.replace(index, element, m_finger);
    }

private:
    mutable LinkedList::Finger m_finger;
};

/// The iterator of every list: a cursor over its elements. What it removes or replaces is released
/// last, when list and iterator agree again.
///
/// @tparam L  what the list is exactly; AbstractList for all others, whose get is called
template <class L>
class ListIteratorOf : public Component<ComObject, ListIterator> {
public:
    /// @param cursor  index of the first element that next returns
    ListIteratorOf(L* list, int cursor)
        : m_list(list), m_cursor(cursor), m_expectedCount(list->m_modificationCount) {}

    bool hasNext() const override { return m_cursor < m_access.size(*m_list); }
    Reference<IQXUnknown> next() override {
        checkUnchanged();
        auto element = m_access.get(*m_list, m_cursor);
        m_lastReturned = m_cursor++;
        return element;
    }
    void remove() override {
        checkUnchanged();
        checkReturned();
        const auto removed = m_access.remove(*m_list, m_lastReturned);
        if (m_cursor > m_lastReturned)
            --m_cursor;
        m_lastReturned = -1;
        ++m_expectedCount;
    }
    bool hasPrevious() const override { return m_cursor > 0; }
    Reference<IQXUnknown> previous() override {
        checkUnchanged();
        auto element = m_access.get(*m_list, m_cursor - 1);
        m_lastReturned = --m_cursor;
        return element;
    }
    int nextIndex() const override { return m_cursor; }
    int previousIndex() const override { return m_cursor - 1; }
    bool add(IQXUnknown* element) override {
        const Reference<IQXUnknown> owned(element);
        checkUnchanged();
        if (!m_access.add(*m_list, m_cursor, element))
            return false;
        ++m_cursor;
        ++m_expectedCount;
        m_lastReturned = -1;
        return true;
    }
    void set(IQXUnknown* element) override {
        const Reference<IQXUnknown> owned(element);
        checkUnchanged();
        checkReturned();
        const auto replaced = m_access.set(*m_list, m_lastReturned, element);
        ++m_expectedCount;
    }

protected:
    /// @throws Exception when others have changed the list
    void checkUnchanged() const {
        if (m_list->m_modificationCount != m_expectedCount) [[unlikely]]
            throwChanged();
    }
    [[noreturn, gnu::noinline]] static void throwChanged() {
        throw withDetail(Exception(), String(u"the list was changed by others"));
    }

    const Reference<L> m_list;
    int m_cursor;
    int m_lastReturned = -1;
    ListAccess<L> m_access;

private:
    /// @throws IllegalStateException when there is no element to change
    void checkReturned() const {
        if (m_lastReturned == -1)
            throw IllegalStateException(u"no current element"_qs);
    }

    uint32_t m_expectedCount;
};

/// The same for a list of the library's own, which lends its elements.
template <class L>
class OwnListIterator final : public ListIteratorOf<L>, public LendingWalk {
public:
    using ListIteratorOf<L>::ListIteratorOf;

    bool step(IQXUnknown*& element) override {
        const L& list = *this->m_list;
        if (this->m_cursor >= this->m_access.size(list))
            return false;
        this->checkUnchanged();
        element = this->m_access.lend(list, this->m_cursor);
        this->m_lastReturned = this->m_cursor++;
        return true;
    }
    bool stepEntry(IQXUnknown*&, IQXUnknown*&) override { return false; }
    bool isOfEntries() const noexcept override { return false; }
};

/// A live view of a range of a list. The parent does everything, at indices shifted by the offset.
/// What others have changed there since the last change through the view is noticed at the next
/// get, add, set or remove at an index.
///
/// A change through the view counts as a change of the view too, for the iterators and views on it.
class AbstractListSubList final : public AbstractList {
public:
    using AbstractList::add;
    using AbstractList::remove;

    /// View of [@p from, @p to).
    /// @throws RangeErrorException unless 0 <= @p from <= @p to <= the size of @p parent
    static Reference<AbstractListSubList> create(AbstractList* parent, int from, int to) {
        checkPosition(to, parent->getSize());
        checkPosition(from, to);
        return new AbstractListSubList(parent, from, to);
    }

    bool add(int index, IQXUnknown* element) override {
        const Reference<IQXUnknown> owned(element);
        checkPosition(index, m_size);
        checkUnchanged();
        return change(1, [&] { return m_parent->add(m_offset + index, element); });
    }
    Reference<ConstListIterator> createConstListIterator(int index) const override {
        return createIteratorAt(index);
    }
    Reference<ListIterator> createListIterator(int index) override {
        return createIteratorAt(index);
    }
    Reference<IQXUnknown> get(int index) const override {
        checkElementIndex(index, m_size);
        checkUnchanged();
        return m_parent->get(m_offset + index);
    }
    int getSize() const override { return m_size; }
    Reference<IQXUnknown> remove(int index) override {
        checkElementIndex(index, m_size);
        checkUnchanged();
        return change(-1, [&] { return m_parent->remove(m_offset + index); });
    }
    Reference<IQXUnknown> set(int index, IQXUnknown* element) override {
        const Reference<IQXUnknown> owned(element);
        checkElementIndex(index, m_size);
        checkUnchanged();
        return change(0, [&] { return m_parent->set(m_offset + index, element); });
    }

private:
    class SubListIterator;

    /// A change of the parent that the view has entered, and takes back unless it is kept.
    struct Change {
        Change(AbstractListSubList& changed, int by) noexcept : view(changed), growth(by) {
            view.m_size += growth;
            ++view.m_snapshot;
            ++view.m_modificationCount;
        }
        ~Change() {
            if (isKept)
                return;
            view.m_size -= growth;
            --view.m_snapshot;
            --view.m_modificationCount;
        }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

        AbstractListSubList& view;
        const int growth;
        bool isKept = false;
    };

    AbstractListSubList(AbstractList* parent, int from, int to)
        : AbstractList(*parent), m_parent(parent), m_snapshot(parent->m_modificationCount),
          m_offset(from), m_size(to - from) {}

    Reference<ListIterator> createIteratorAt(int index) const;

    /// @throws Exception when others have changed the parent
    void checkUnchanged() const {
        if (m_parent->m_modificationCount != m_snapshot)
            throw Exception(u"the list was changed by others"_qs);
    }

    /// Lets @p body change the parent. The view enters the change before, because an element that
    /// goes away may look at the view, and takes it back when the body throws or returns false.
    template <class Body>
    std::invoke_result_t<Body> change(int growth, Body body) {
        Change entered(*this, growth);
        auto outcome = body();
        entered.isKept = !std::is_same_v<decltype(outcome), bool> || outcome;
        return outcome;
    }

    const Reference<AbstractList> m_parent;
    uint32_t m_snapshot;
    const int m_offset;
    int m_size;
};

/// A list iterator of the parent that stays inside the view.
class AbstractListSubList::SubListIterator final : public Component<ComObject, ListIterator> {
public:
    SubListIterator(AbstractListSubList* view, Reference<ListIterator> inner)
        : m_view(view), m_inner(std::move(inner)) {}

    bool hasNext() const override { return nextIndex() < m_view->m_size; }
    Reference<IQXUnknown> next() override {
        if (!hasNext())
            throw Exception(u"no more elements"_qs);
        return m_inner->next();
    }
    void remove() override {
        m_view->change(-1, [&] {
            m_inner->remove();
            return true;
        });
    }
    bool hasPrevious() const override { return previousIndex() >= 0; }
    Reference<IQXUnknown> previous() override {
        if (!hasPrevious())
            throw Exception(u"no more elements"_qs);
        return m_inner->previous();
    }
    int nextIndex() const override { return m_inner->nextIndex() - m_view->m_offset; }
    int previousIndex() const override { return m_inner->previousIndex() - m_view->m_offset; }
    bool add(IQXUnknown* element) override {
        return m_view->change(1, [&] { return m_inner->add(element); });
    }
    void set(IQXUnknown* element) override {
        m_view->change(0, [&] {
            m_inner->set(element);
            return true;
        });
    }

private:
    const Reference<AbstractListSubList> m_view;
    const Reference<ListIterator> m_inner;
};

inline Reference<ListIterator> AbstractListSubList::createIteratorAt(int index) const {
    checkPosition(index, m_size);
    auto inner = m_parent->createListIterator(m_offset + index);
    return new SubListIterator(detail::held(this), std::move(inner));
}

} // namespace qx::collections::pcom
