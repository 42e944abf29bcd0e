#pragma once

#include <memory>
#include <optional>

#include "tests/support/ListModel.h"

namespace qxtest {

/// Plays operations that are read from bytes on a list of items, an iterator and a view of it, and
/// at the same time on the plain model. Throws std::logic_error when the two come apart.
class ListPlay : private CollectionPlay {
public:
    using List = qx::collections::pcom::List;
    using ListIterator = qx::collections::pcom::ListIterator;

    /// @param list  an empty list
    explicit ListPlay(qx::Reference<List> list, Failures failures = {})
        : CollectionPlay(std::move(failures)), m_list{std::move(list),
                                                      std::make_shared<ModelList>(m_numbers)} {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            requireSame(m_list);
            requireSame(m_outer);
            requireSame(m_view);
        }
    }

private:
    /// The list or a view of it, with its model.
    struct Pair {
        qx::Reference<List> list;
        std::shared_ptr<ModelList> model;
    };

    static void requireSame(const Pair& pair) {
        if (!pair.list)
            return;
        require(pair.list->getSize() == pair.model->size(), "size");
        if (pair.model->isCurrent())
            require(values(*pair.list) == pair.model->values(), "content");
    }
    /// From one before the start to one behind the end.
    int index(int size) { return byte() % (size + 3) - 1; }
    Pair anyOf(bool mayBeStale) {
        const bool useView = m_view.list && (mayBeStale || m_view.model->isCurrent());
        return useView && byte() % 3 == 0 ? m_view : m_list;
    }

    void step() {
        using Self = ListPlay;
        static constexpr void (Self::*onLists[])(List&, ModelList&) = {
            &Self::changeAt, &Self::changeAt, &Self::changeAt, &Self::changeAt,  &Self::changeAt,
            &Self::search,   &Self::compare,  &Self::useOther, &Self::useItself, &Self::append};
        const auto what = static_cast<std::size_t>(byte()) % 16;
        const Pair pair = anyOf(what < 5);
        if (what < std::size(onLists))
            (this->*onLists[what])(*pair.list, *pair.model);
        else if (what == 10)
            makeView(pair);
        else if (what == 11)
            walk(pair);
        else
            what < 14 ? moveIterator() : changeThroughIterator();
    }

    void append(List& list, ModelList& model) {
        const int added = value();
        IQXUnknown* const element = fresh(added);
        both(
            "add", [&] { return list.add(element); }, [&] { return model.append(added); });
    }
    void changeAt(List& list, ModelList& model) {
        const int at = index(model.size()), what = byte() % 4;
        if (what == 0) {
            both(
                "get", [&] { return valueOf(list.get(at)); }, [&] { return model.get(at); });
            return;
        }
        if (what == 1) {
            both(
                "remove", [&] { return valueOf(list.remove(at)); },
                [&] { return model.remove(at); });
            return;
        }
        const int added = value();
        IQXUnknown* const element = fresh(added);
        if (what == 2)
            both(
                "set", [&] { return valueOf(list.set(at, element)); },
                [&] { return model.set(at, added); });
        else
            both(
                "insert", [&] { return list.add(at, element); },
                [&] { return model.add(at, added); });
    }
    void search(List& list, ModelList& model) {
        const int sought = value();
        const auto element = item(sought);
        both(
            "contains", [&] { return list.contains(element); },
            [&] { return model.indexOf(sought) >= 0; });
        both(
            "indexOf", [&] { return list.indexOf(element); },
            [&] { return model.indexOf(sought); });
        both(
            "lastIndexOf", [&] { return list.lastIndexOf(element); },
            [&] { return model.lastIndexOf(sought); });
        if (byte() % 2)
            both(
                "remove of an element", [&] { return list.remove(element); },
                [&] { return model.removeFirst(sought); });
    }
    void compare(List& list, ModelList& model) {
        const std::vector<int> own = model.values();
        std::vector<int> other = own;
        if (!other.empty() && byte() % 2)
            other[static_cast<std::size_t>(byte()) % other.size()] = value();
        if (byte() % 2)
            other.push_back(value());
        const auto otherList = listOf(other);
        const auto& object = dynamic_cast<const qx::Object&>(list);
        both(
            "equals", [&] { return object.equals(*otherList); }, [&] { return other == own; });
        if (!contains(other, Null) && !contains(own, Null))
            both(
                "compareTo", [&] { return object.compareTo(*otherList); },
                [&] { return (own > other) - (own < other); });
        uint32_t hash = 1;
        for (const int number : own)
            hash = hash * 38 + static_cast<uint32_t>(std::max(number, 0));
        both(
            "hashCode", [&] { return static_cast<int>(list.hashCode()); }, [&] { return hash; });
    }

    /// Plays what changes several elements and may fail among them.
    template <class Operation, class ModelOperation>
    void many(const char* what, Operation&& operation, ModelOperation&& onModel) {
        if (both(what, operation, onModel))
            return;
        const std::vector<int>&before = m_numbers.values, now = values(*m_list.list);
        require(isPartOf(before, now) || isPartOf(now, before), "what a failure leaves");
        m_numbers.values = now;
        ++m_numbers.changes;
        m_view = m_outer = {};
        m_iterator.reset();
    }
    /// Whether @p part is @p all without some of its elements.
    static bool isPartOf(const std::vector<int>& part, const std::vector<int>& all) {
        auto place = part.begin();
        for (const int number : all)
            place += place != part.end() && *place == number;
        return place == part.end();
    }
    void useOther(List& list, ModelList& model) {
        std::vector<int> other;
        for (int count = byte() % 4; count-- > 0;)
            other.push_back(value());
        useMany(list, model, *listOf(other), other);
    }
    void useItself(List& list, ModelList& model) {
        if (model.size() <= MaxSize && byte() % 4)
            useMany(list, model, list, model.values());
        else
            both(
                "clear", [&] { return list.clear(), 0; }, [&] { return model.clear(), 0; });
    }
    /// Adds, removes, retains or looks for the elements of a collection.
    void useMany(List& list, ModelList& model, const List& other, const std::vector<int>& numbers) {
        bool any = false;
        const int at = index(model.size());
        switch (byte() % 5) {
        case 0:
            return many(
                "addAll", [&] { return list.addAll(other); },
                [&] {
                    for (const int number : numbers)
                        model.append(number);
                    return !numbers.empty();
                });
        case 1:
            return many(
                "addAll at an index", [&] { return list.addAll(at, other); },
                [&] {
                    if (at < 0 || at > model.size())
                        return int{OutOfRange};
                    for (std::size_t i = 0; i < numbers.size(); ++i)
                        model.add(at + static_cast<int>(i), numbers[i]);
                    return int{!numbers.empty()};
                });
        case 2:
            return many(
                "removeAll", [&] { return list.removeAll(other); },
                [&] {
                    for (const int number : numbers)
                        any = model.removeFirst(number) || any;
                    return any;
                });
        case 3:
            return many(
                "retainAll", [&] { return list.retainAll(other); },
                [&] {
                    for (const int number : model.values())
                        any = (!contains(numbers, number) && model.removeFirst(number)) || any;
                    return any;
                });
        default:
            both(
                "containsAll", [&] { return list.containsAll(other); },
                [&] {
                    return std::ranges::all_of(
                        numbers, [&](int number) { return model.indexOf(number) >= 0; });
                });
        }
    }

    void makeView(const Pair& outer) {
        const int size = outer.model->size(), from = index(size), to = index(size);
        Pair view;
        both(
            "createSubList", [&] { return view.list = outer.list->createSubList(from, to), 0; },
            [&] { return 0 <= from && from <= to && to <= size ? 0 : int{OutOfRange}; });
        if (!view.list)
            return;
        m_outer = outer;
        m_view = {view.list, std::make_shared<ModelList>(outer.model, from, to)};
    }
    void walk(const Pair& pair) {
        const int size = pair.model->size(), at = index(size);
        qx::Reference<ListIterator> iterator;
        both(
            "createListIterator", [&] { return iterator = pair.list->createListIterator(at), 0; },
            [&] { return at >= 0 && at <= size ? 0 : int{OutOfRange}; });
        if (iterator) {
            m_iterator = iterator;
            m_modelIterator.emplace(pair.model, at);
        }
    }
    void moveIterator() {
        if (!m_iterator)
            return;
        ModelListIterator& model = *m_modelIterator;
        require(m_iterator->hasNext() == model.hasNext(), "hasNext");
        require(m_iterator->hasPrevious() == model.hasPrevious(), "hasPrevious");
        require(m_iterator->nextIndex() == model.nextIndex(), "nextIndex");
        require(m_iterator->previousIndex() == model.nextIndex() - 1, "previousIndex");
        if (byte() % 3)
            both(
                "next", [&] { return valueOf(m_iterator->next()); }, [&] { return model.next(); });
        else
            both(
                "previous", [&] { return valueOf(m_iterator->previous()); },
                [&] { return model.previous(); });
    }
    void changeThroughIterator() {
        if (!m_iterator)
            return;
        ModelListIterator& model = *m_modelIterator;
        const int what = byte() % 3, added = value();
        if (what == 0) {
            both(
                "iterator's remove", [&] { return m_iterator->remove(), 0; },
                [&] { return model.remove(); });
            return;
        }
        IQXUnknown* const element = fresh(added);
        if (what == 1)
            both(
                "iterator's add", [&] { return m_iterator->add(element); },
                [&] { return model.add(added); });
        else
            both(
                "iterator's set", [&] { return m_iterator->set(element), 0; },
                [&] { return model.set(added); });
    }

    static constexpr int MaxSize = 30;

    ModelNumbers m_numbers;
    Pair m_list, m_outer, m_view;
    qx::Reference<ListIterator> m_iterator;
    std::optional<ModelListIterator> m_modelIterator;
};

} // namespace qxtest
