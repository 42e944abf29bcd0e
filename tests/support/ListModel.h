#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "tests/support/CollectionPlay.h"

namespace qxtest {

/// The numbers of a list and how often they were changed.
struct ModelNumbers {
    std::vector<int> values;
    unsigned int changes = 0;
};

/// The plain model of a list or of a live view of one. Operations return what those of the lists
/// do, an element as its number, or throw the answer that a failure is.
class ModelList {
public:
    explicit ModelList(ModelNumbers& numbers) : m_numbers(&numbers) {}
    /// A view of @p outer, the list or a current view of it.
    ModelList(std::shared_ptr<ModelList> outer, int from, int to)
        : m_numbers(outer->m_numbers), m_outer(std::move(outer)), m_isView(true),
          m_offset(m_outer->m_offset + from), m_size(to - from), m_seen(m_numbers->changes) {}

    bool isView() const { return m_isView; }
    bool isCurrent() const { return !m_isView || m_seen == m_numbers->changes; }
    unsigned int changes() const { return m_numbers->changes; }
    int size() const { return m_isView ? m_size : static_cast<int>(m_numbers->values.size()); }
    std::vector<int> values() const { return {begin(), begin() + size()}; }

    int get(int index) const { return at(checked(index, size())); }
    int add(int index, int value) {
        m_numbers->values.insert(begin() + checked(index, size() + 1), value);
        changed(1);
        return 1;
    }
    int add(int value) {
        if (m_isView)
            return add(m_size, value);
        m_numbers->values.push_back(value); // disturbs nobody
        return 1;
    }
    int remove(int index) {
        const int removed = get(index);
        m_numbers->values.erase(begin() + index);
        changed(-1);
        return removed;
    }
    int set(int index, int value) {
        int& place = at(checked(index, size()));
        changed(0);
        return std::exchange(place, value);
    }
    void sort() {
        const std::vector<int> before = values();
        std::sort(begin(), begin() + size());
        if (values() != before)
            changed(0);
    }
    void clear() {
        if (!m_isView) {
            m_numbers->values.clear();
            changed(0);
        }
        while (size() > 0)
            remove(0);
    }
    int indexOf(int value) const {
        const auto found = std::find(begin(), begin() + size(), value);
        return found == begin() + size() ? -1 : static_cast<int>(found - begin());
    }
    int lastIndexOf(int value) const {
        int index = size() - 1;
        while (index >= 0 && at(index) != value)
            --index;
        return index;
    }
    bool remove(const Argument& value) { return removeEach({value.number}); }
    bool contains(int value) const { return indexOf(value) >= 0; }
    bool addAll(const Arguments& added) {
        for (const int value : added.numbers)
            add(value);
        return !added.numbers.empty();
    }
    int addAll(int index, const Arguments& added) {
        checked(index, size() + 1);
        for (const int value : added.numbers)
            add(index++, value);
        return !added.numbers.empty();
    }
    bool containsAll(const Arguments& others) const {
        return std::ranges::all_of(others.numbers, [&](int value) { return contains(value); });
    }
    bool removeAll(const Arguments& others) { return removeEach(others.numbers); }
    bool retainAll(const Arguments& others) {
        std::vector<int> removed = values();
        std::erase_if(removed, [&](int value) { return others.contain(value); });
        return removeEach(removed);
    }

private:
    std::vector<int>::iterator begin() const { return m_numbers->values.begin() + m_offset; }
    int& at(int index) const { return begin()[index]; }
    int checked(int index, int limit) const {
        if (index < 0 || index >= limit)
            throw OutOfRange;
        return isCurrent() ? index : throw Changed;
    }
    /// Removes the first of each.
    bool removeEach(const std::vector<int>& numbers) {
        bool any = false;
        for (const int number : numbers) {
            if (const int index = indexOf(number); index >= 0)
                any = remove(index) == number || any;
        }
        return any;
    }
    void changed(int growth) {
        ++m_numbers->changes;
        for (ModelList* list = this; list; list = list->m_outer.get()) {
            list->m_seen = m_numbers->changes;
            list->m_size += growth;
        }
    }

    ModelNumbers* m_numbers;
    std::shared_ptr<ModelList> m_outer;
    bool m_isView = false;
    int m_offset = 0;
    int m_size = 0;
    unsigned int m_seen = 0;
};

/// A list iterator of a model list.
class ModelListIterator {
public:
    ModelListIterator(std::shared_ptr<ModelList> list, int index)
        : m_list(std::move(list)), m_cursor(index), m_seen(m_list->changes()) {}

    int nextIndex() const { return m_cursor; }
    int previousIndex() const { return m_cursor - 1; }
    bool hasNext() const { return m_cursor < m_list->size(); }
    bool hasPrevious() const { return m_cursor > 0; }

    int next() { return move(hasNext(), m_cursor, 1); }
    int previous() { return move(hasPrevious(), m_cursor - 1, -1); }
    void remove() {
        m_list->remove(last());
        m_cursor -= m_cursor > m_last;
        changed();
    }
    int add(int value) {
        if (isStale())
            throw Changed;
        m_list->add(m_cursor++, value);
        changed();
        return 1;
    }
    void set(int value) {
        m_list->set(last(), value);
        m_seen = m_list->changes();
    }

private:
    bool isStale() const { return m_seen != m_list->changes(); }
    int last() const { return isStale() ? throw Changed : m_last < 0 ? throw NoElement : m_last; }
    int move(bool isThere, int index, int step) {
        if ((m_list->isView() && !isThere) || isStale())
            throw Changed;
        const int value = m_list->get(index);
        m_last = index;
        m_cursor += step;
        return value;
    }
    void changed() {
        m_last = -1;
        m_seen = m_list->changes();
    }

    std::shared_ptr<ModelList> m_list;
    int m_cursor;
    unsigned int m_seen;
    int m_last = -1;
};

} // namespace qxtest
