#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "tests/support/Play.h"

namespace qxtest {

/// A list of numbers in a vector that counts its changes: the plain model of the lists.
struct ModelList {
    std::vector<int> values;
    unsigned int changes = 0;

    int size() const { return static_cast<int>(values.size()); }

    Outcome get(int index, int& value) const {
        if (index < 0 || index >= size())
            return Outcome::OutOfRange;
        value = values[static_cast<std::size_t>(index)];
        return Outcome::Done;
    }
    Outcome add(int index, int value) {
        if (index < 0 || index > size())
            return Outcome::OutOfRange;
        values.insert(values.begin() + index, value);
        ++changes;
        return Outcome::Done;
    }
    Outcome remove(int index, int& value) {
        const Outcome outcome = get(index, value);
        if (outcome == Outcome::Done) {
            values.erase(values.begin() + index);
            ++changes;
        }
        return outcome;
    }
    Outcome set(int index, int value, int& previous) {
        const Outcome outcome = get(index, previous);
        if (outcome == Outcome::Done) {
            values[static_cast<std::size_t>(index)] = value;
            ++changes;
        }
        return outcome;
    }
};

/// A live range of a model list.
struct ModelView {
    ModelList* list;
    int offset;
    int size;
    unsigned int seen;

    bool isCurrent() const { return seen == list->changes; }
    void changed(int growth) {
        size += growth;
        ++seen;
    }
    /// What stands between an operation at @p index, below @p limit, and the list.
    Outcome obstacle(int index, int limit) const {
        if (index < 0 || index >= limit)
            return Outcome::OutOfRange;
        return isCurrent() ? Outcome::Done : Outcome::Changed;
    }
};

/// A list iterator of a model list, inside a view if there is one.
struct ModelIterator {
    ModelList* list;
    int cursor;
    unsigned int seen;
    int lastReturned = -1;
    std::shared_ptr<ModelView> view;

    int nextIndex() const { return cursor - (view ? view->offset : 0); }
    bool hasNext() const { return nextIndex() < (view ? view->size : list->size()); }
    bool hasPrevious() const { return nextIndex() > 0; }

    Outcome next(int& value) {
        if ((view && !hasNext()) || seen != list->changes)
            return Outcome::Changed;
        const Outcome outcome = list->get(cursor, value);
        if (outcome == Outcome::Done)
            lastReturned = cursor++;
        return outcome;
    }
    Outcome previous(int& value) {
        if ((view && !hasPrevious()) || seen != list->changes)
            return Outcome::Changed;
        const Outcome outcome = list->get(cursor - 1, value);
        if (outcome == Outcome::Done)
            lastReturned = --cursor;
        return outcome;
    }
    Outcome remove() {
        const Outcome outcome = obstacle();
        if (outcome == Outcome::Done) {
            int value = 0;
            list->remove(lastReturned, value);
            cursor -= cursor > lastReturned;
            lastReturned = -1;
            changed(-1);
        }
        return outcome;
    }
    Outcome add(int value) {
        if (seen != list->changes)
            return Outcome::Changed;
        const Outcome outcome = list->add(cursor, value);
        if (outcome == Outcome::Done) {
            ++cursor;
            lastReturned = -1;
            changed(1);
        }
        return outcome;
    }
    Outcome set(int value) {
        const Outcome outcome = obstacle();
        if (outcome == Outcome::Done) {
            int previous = 0;
            list->set(lastReturned, value, previous);
            changed(0);
        }
        return outcome;
    }

private:
    Outcome obstacle() const {
        if (seen != list->changes)
            return Outcome::Changed;
        return lastReturned < 0 ? Outcome::NoElement : Outcome::Done;
    }
    void changed(int growth) {
        ++seen;
        if (view)
            view->changed(growth);
    }
};

} // namespace qxtest
