#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>

#include "tests/support/Items.h"
#include "tests/support/ListModel.h"
#include "tests/support/Play.h"

namespace qxtest {

/// Plays operations that are read from bytes on a list of items, an iterator and a view of it, and
/// at the same time on the plain model. Throws std::logic_error when the two come apart.
class ListPlay : private Play {
public:
    using List = qx::collections::pcom::List;
    using ListIterator = qx::collections::pcom::ListIterator;

    /// @param list  an empty list
    explicit ListPlay(qx::Reference<List> list) : m_list(std::move(list)) {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            require(values(*m_list) == m_model.values, "content");
        }
    }

private:
    /// From one before the start to one behind the end.
    int index(int size) { return byte() % (size + 3) - 1; }
    /// Few values, so that there are equal elements; sometimes null.
    int value() { return byte() % 8 - 1; }

    void step() {
        using Step = void (ListPlay::*)();
        static constexpr Step steps[] = {
            &ListPlay::append,
            &ListPlay::insert,
            &ListPlay::removeAt,
            &ListPlay::replace,
            &ListPlay::read,
            &ListPlay::search,
            &ListPlay::removeEqual,
            &ListPlay::compare,
            &ListPlay::useOther,
            &ListPlay::useItself,
            &ListPlay::makeView,
            &ListPlay::changeView,
            &ListPlay::readView,
            &ListPlay::walkList,
            &ListPlay::walkView,
            &ListPlay::moveIterator,
            &ListPlay::moveIterator,
            &ListPlay::changeThroughIterator,
            &ListPlay::changeThroughIterator,
        };
        (this->*steps[static_cast<std::size_t>(byte()) % std::size(steps)])();
    }

    void append() {
        const int added = value();
        require(m_list->add(item(added)), "add");
        m_model.values.push_back(added);
    }
    void insert() {
        const int at = index(m_model.size()), added = value();
        expect(m_model.add(at, added), "insert", [&] { m_list->add(at, item(added)); });
    }
    void removeAt() {
        int removed = Null;
        const int at = index(m_model.size());
        expect(m_model.remove(at, removed), "remove",
               [&] { require(valueOf(m_list->remove(at)) == removed, "removed"); });
    }
    void replace() {
        int previous = Null;
        const int at = index(m_model.size()), added = value();
        expect(m_model.set(at, added, previous), "set",
               [&] { require(valueOf(m_list->set(at, item(added))) == previous, "replaced"); });
    }
    void read() {
        int found = Null;
        const int at = index(m_model.size());
        expect(m_model.get(at, found), "get",
               [&] { require(valueOf(m_list->get(at)) == found, "element"); });
        require(m_list->getSize() == m_model.size(), "size");
    }
    void search() {
        const auto& model = m_model.values;
        const int sought = value();
        const auto first = std::find(model.begin(), model.end(), sought);
        const auto last = std::find(model.rbegin(), model.rend(), sought);
        const bool found = first != model.end();
        const auto element = item(sought);
        require(m_list->contains(element) == found, "contains");
        require(m_list->indexOf(element) == (found ? first - model.begin() : -1), "indexOf");
        require(m_list->lastIndexOf(element) == model.rend() - last - 1, "lastIndexOf");
    }
    bool removeFirst(int value) {
        const auto found = std::find(m_model.values.begin(), m_model.values.end(), value);
        if (found == m_model.values.end())
            return false;
        int removed = 0;
        m_model.remove(static_cast<int>(found - m_model.values.begin()), removed);
        return true;
    }
    void removeEqual() {
        const int sought = value();
        require(m_list->remove(item(sought)) == removeFirst(sought), "remove of an element");
    }
    void compare() {
        std::vector<int> other = m_model.values;
        if (!other.empty() && byte() % 2)
            other[static_cast<std::size_t>(byte()) % other.size()] = value();
        if (byte() % 2)
            other.push_back(value());
        qx::collections::pcom::ArrayList list;
        for (const int number : other)
            list.add(item(number));
        const auto& object = dynamic_cast<const qx::Object&>(*m_list);
        require(object.equals(list) == (other == m_model.values), "equals");
        if (std::count(other.begin(), other.end(), Null) == 0 &&
            std::count(m_model.values.begin(), m_model.values.end(), Null) == 0)
            require(object.compareTo(list) == (m_model.values > other) - (m_model.values < other),
                    "compareTo");
        require(!object.equals(list) || object.hashCode() == list.hashCode(), "hashCode");
    }
    /// Adds, removes or retains what another collection has.
    void useOther() {
        std::vector<int> other;
        qx::collections::pcom::ArrayList list;
        for (int count = byte() % 4; count-- > 0;) {
            other.push_back(value());
            list.add(item(other.back()));
        }
        switch (byte() % 4) {
        case 0:
            require(m_list->addAll(list) == !other.empty(), "addAll");
            m_model.values.insert(m_model.values.end(), other.begin(), other.end());
            break;
        case 1: {
            const int at = index(m_model.size());
            const bool inside = at >= 0 && at <= m_model.size();
            expect(inside ? Outcome::Done : Outcome::OutOfRange, "addAll at an index",
                   [&] { m_list->addAll(at, list); });
            for (std::size_t i = 0; inside && i < other.size(); ++i)
                m_model.add(at + static_cast<int>(i), other[i]);
            break;
        }
        case 2: {
            bool any = false;
            for (const int number : other)
                any = removeFirst(number) || any;
            require(m_list->removeAll(list) == any, "removeAll");
            break;
        }
        default: {
            bool any = false;
            for (const int number : std::vector(m_model.values)) {
                if (std::find(other.begin(), other.end(), number) == other.end())
                    any = removeFirst(number) || any;
            }
            require(m_list->retainAll(list) == any, "retainAll");
        }
        }
    }
    void useItself() {
        const std::vector<int> before = m_model.values;
        switch (byte() % 6) {
        case 0:
            if (before.size() > MaxSize)
                return;
            require(m_list->addAll(*m_list) == !before.empty(), "addAll of itself");
            m_model.values.insert(m_model.values.end(), before.begin(), before.end());
            break;
        case 1: {
            if (before.size() > MaxSize)
                return;
            const int at = byte() % (m_model.size() + 1);
            m_list->addAll(at, *m_list);
            for (std::size_t i = 0; i < before.size(); ++i)
                m_model.add(at + static_cast<int>(i), before[i]);
            break;
        }
        case 2:
            require(m_list->removeAll(*m_list) == !before.empty(), "removeAll of itself");
            while (!m_model.values.empty())
                removeFirst(m_model.values.front());
            break;
        case 3:
            require(!m_list->retainAll(*m_list), "retainAll of itself");
            break;
        case 4:
            require(m_list->containsAll(*m_list), "containsAll of itself");
            break;
        default:
            m_list->clear();
            m_model.values.clear();
            ++m_model.changes;
        }
    }

    void makeView() {
        const int from = index(m_model.size()), to = index(m_model.size());
        const bool inside = 0 <= from && from <= to && to <= m_model.size();
        expect(inside ? Outcome::Done : Outcome::OutOfRange, "createSubList",
               [&] { m_view = m_list->createSubList(from, to); });
        if (inside)
            m_modelView =
                std::make_shared<ModelView>(ModelView{&m_model, from, to - from, m_model.changes});
    }
    void changeView() {
        if (!m_view)
            return;
        ModelView& model = *m_modelView;
        const int at = index(model.size), added = value();
        int previous = Null;
        Outcome expected;
        switch (byte() % 3) {
        case 0:
            expected = model.obstacle(at, model.size + 1);
            if (expected == Outcome::Done) {
                m_model.add(model.offset + at, added);
                model.changed(1);
            }
            expect(expected, "add to a view", [&] { m_view->add(at, item(added)); });
            break;
        case 1:
            expected = model.obstacle(at, model.size);
            if (expected == Outcome::Done) {
                m_model.remove(model.offset + at, previous);
                model.changed(-1);
            }
            expect(expected, "remove from a view",
                   [&] { require(valueOf(m_view->remove(at)) == previous, "removed"); });
            break;
        default:
            expected = model.obstacle(at, model.size);
            if (expected == Outcome::Done) {
                m_model.set(model.offset + at, added, previous);
                model.changed(0);
            }
            expect(expected, "set in a view",
                   [&] { require(valueOf(m_view->set(at, item(added))) == previous, "replaced"); });
        }
    }
    void readView() {
        if (!m_view)
            return;
        require(m_view->getSize() == m_modelView->size, "size of a view");
        if (!m_modelView->isCurrent()) {
            expect(m_modelView->obstacle(0, m_modelView->size), "get of a stale view",
                   [&] { m_view->get(0); });
            return;
        }
        const auto begin = m_model.values.begin() + m_modelView->offset;
        require(values(*m_view) == std::vector<int>(begin, begin + m_modelView->size), "view");
        if (byte() % 8 == 0) {
            int removed = 0;
            for (; m_modelView->size > 0; m_modelView->changed(-1))
                m_model.remove(m_modelView->offset, removed);
            m_view->clear();
        }
    }

    void walkList() { walk(*m_list, nullptr, m_model.size()); }
    void walkView() {
        if (m_view && m_modelView->isCurrent())
            walk(*m_view, m_modelView, m_modelView->size);
    }
    void walk(List& list, std::shared_ptr<ModelView> view, int size) {
        const int at = index(size);
        const bool inside = at >= 0 && at <= size;
        expect(inside ? Outcome::Done : Outcome::OutOfRange, "createListIterator",
               [&] { m_iterator = list.createListIterator(at); });
        if (inside) {
            const int offset = view ? view->offset : 0;
            m_modelIterator = {&m_model, offset + at, m_model.changes, -1, std::move(view)};
        }
    }
    void moveIterator() {
        if (!m_iterator)
            return;
        require(m_iterator->hasNext() == m_modelIterator.hasNext(), "hasNext");
        require(m_iterator->hasPrevious() == m_modelIterator.hasPrevious(), "hasPrevious");
        require(m_iterator->nextIndex() == m_modelIterator.nextIndex(), "nextIndex");
        require(m_iterator->previousIndex() == m_modelIterator.nextIndex() - 1, "previousIndex");
        int expected = Null;
        if (byte() % 3)
            expect(m_modelIterator.next(expected), "next",
                   [&] { require(valueOf(m_iterator->next()) == expected, "next element"); });
        else
            expect(m_modelIterator.previous(expected), "previous", [&] {
                require(valueOf(m_iterator->previous()) == expected, "previous element");
            });
    }
    void changeThroughIterator() {
        if (!m_iterator)
            return;
        const int added = value();
        switch (byte() % 3) {
        case 0:
            expect(m_modelIterator.add(added), "iterator's add",
                   [&] { require(m_iterator->add(item(added)), "added"); });
            break;
        case 1:
            expect(m_modelIterator.remove(), "iterator's remove", [&] { m_iterator->remove(); });
            break;
        default:
            expect(m_modelIterator.set(added), "iterator's set",
                   [&] { m_iterator->set(item(added)); });
        }
    }

    static constexpr std::size_t MaxSize = 50;

    qx::Reference<List> m_list;
    qx::Reference<List> m_view;
    qx::Reference<ListIterator> m_iterator;
    ModelList m_model;
    std::shared_ptr<ModelView> m_modelView;
    ModelIterator m_modelIterator{};
};

} // namespace qxtest
