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
            useIterator(what < 14);
    }

    void append(List& list, ModelList& model) {
        if (byte() % 4 == 0) {
            both("sort", list, model, [](auto& its) { return its.sort(); });
            return;
        }
        const Argument added = fresh(value());
        both("add", list, model, [&](auto& its) { return its.add(added); });
    }
    void changeAt(List& list, ModelList& model) {
        const int at = index(model.size()), what = byte() % 4;
        if (what == 0)
            both("get", list, model, [&](auto& its) { return its.get(at); });
        else if (what == 1)
            both("remove", list, model, [&](auto& its) { return its.remove(at); });
        else if (const Argument added = fresh(value()); what == 2)
            both("set", list, model, [&](auto& its) { return its.set(at, added); });
        else
            both("insert", list, model, [&](auto& its) { return its.add(at, added); });
    }
    void search(List& list, ModelList& model) {
        const Argument it = sought(value());
        both("contains", list, model, [&](auto& its) { return its.contains(it); });
        both("indexOf", list, model, [&](auto& its) { return its.indexOf(it); });
        both("lastIndexOf", list, model, [&](auto& its) { return its.lastIndexOf(it); });
        if (byte() % 2)
            both("remove of an element", static_cast<qx::collections::pcom::Collection&>(list),
                 model, [&](auto& its) { return its.remove(it); });
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
        expect("equals", other == own, [&] { return object.equals(*otherList); });
        if (!std::ranges::count(other, Null) && !std::ranges::count(own, Null))
            expect("compareTo", (own > other) - (own < other),
                   [&] { return object.compareTo(*otherList); });
        uint32_t hash = 1;
        for (const int number : own)
            hash = hash * 38 + static_cast<uint32_t>(std::max(number, 0));
        expect("hashCode", static_cast<int>(hash), [&] { return list.hashCode(); });
    }

    /// Takes over to the model what a failure among several elements has left.
    void readAgain() {
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
        useMany(list, model, {*listOf(other), other});
    }
    void useItself(List& list, ModelList& model) {
        if (model.size() <= MaxSize && byte() % 4)
            useMany(list, model, {list, model.values()});
        else
            both("clear", list, model, [](auto& its) { its.clear(); });
    }
    /// Adds, removes, retains or looks for the elements of a collection.
    void useMany(List& list, ModelList& model, const Arguments& them) {
        const int at = index(model.size()), what = byte() % 5;
        const auto add = [&](auto& its) { return its.addAll(them); };
        const auto insert = [&](auto& its) { return its.addAll(at, them); };
        if (!(what == 3   ? both("addAll", list, model, add)
              : what == 4 ? both("addAll at", list, model, insert)
                          : CollectionPlay::useMany(what, list, model, them)))
            readAgain();
    }

    void makeView(const Pair& outer) {
        const int size = outer.model->size(), from = index(size), to = index(size);
        Pair view;
        expect("createSubList", 0 <= from && from <= to && to <= size ? 0 : int{OutOfRange},
               [&] { view.list = outer.list->createSubList(from, to); });
        if (!view.list)
            return;
        m_outer = outer;
        m_view = {view.list, std::make_shared<ModelList>(outer.model, from, to)};
    }
    void walk(const Pair& pair) {
        const int size = pair.model->size(), at = index(size);
        qx::Reference<ListIterator> iterator;
        expect("createListIterator", at >= 0 && at <= size ? 0 : int{OutOfRange},
               [&] { iterator = pair.list->createListIterator(at); });
        if (iterator) {
            m_iterator = iterator;
            m_modelIterator.emplace(pair.model, at);
        }
    }
    void useIterator(bool isMove) {
        if (!m_iterator)
            return;
        ModelListIterator& model = *m_modelIterator;
        require(m_iterator->hasNext() == model.hasNext(), "hasNext");
        require(m_iterator->hasPrevious() == model.hasPrevious(), "hasPrevious");
        require(m_iterator->nextIndex() == model.nextIndex(), "nextIndex");
        require(m_iterator->previousIndex() == model.previousIndex(), "previousIndex");
        const int what = byte() % 6, number = value();
        if (isMove && what % 3)
            both("next", *m_iterator, model, [](auto& its) { return its.next(); });
        else if (isMove)
            both("previous", *m_iterator, model, [](auto& its) { return its.previous(); });
        else if (what < 2)
            both("iterator's remove", *m_iterator, model, [](auto& its) { return its.remove(); });
        else if (const Argument added = fresh(number); what < 4)
            both("iterator's add", *m_iterator, model, [&](auto& its) { return its.add(added); });
        else
            both("iterator's set", *m_iterator, model, [&](auto& its) { return its.set(added); });
    }

    static constexpr int MaxSize = 30;

    ModelNumbers m_numbers;
    Pair m_list, m_outer, m_view;
    qx::Reference<ListIterator> m_iterator;
    std::optional<ModelListIterator> m_modelIterator;
};

} // namespace qxtest
