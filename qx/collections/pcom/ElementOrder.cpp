#include "qx/collections/pcom/ElementOrder.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

#include <qx/collections/Comparing.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/collections/detail/NaturalOrder.h>
#include <qx/collections/pcom/List.h>
#include <qx/collections/pcom/detail/ListViews.h>
#include <qx/core/Comparable.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/core/detail/ResultOfFilling.h>

namespace qx::collections::pcom {

namespace {

/// The order of a comparator.
class ComparedOrder final : public ElementOrder {
public:
    explicit ComparedOrder(IQXComparator& comparator) : m_comparator(comparator) {}

    const void* comparedPart(IQXUnknown* element) override { return element; }
    bool isBefore(const void* a, const void* b) override {
        return compareElements(m_comparator, static_cast<const IQXUnknown*>(a),
                               static_cast<const IQXUnknown*>(b)) < 0;
    }

private:
    IQXComparator& m_comparator;
};

/// What the natural order compares of an element.
struct NaturalPart {
    const IQXUnknown* element;
    /// The element when it is a plain string, else null.
    const String* text;
    /// The own order of one that is not; null when it has none.
    Reference<IQXComparable> comparable;
};

/// The natural order, for which an element is asked once and not for each comparison.
class NaturalOrder final : public ElementOrder {
public:
    NaturalOrder(IQXComparator& comparator, const void* stringTable)
        : m_comparator(comparator), m_stringTable(stringTable) {}

    const void* comparedPart(IQXUnknown* element) override {
        const String* const text = collections::detail::exactString(element, m_stringTable);
        NaturalPart& part = m_parts.emplace_back(NaturalPart{element, text, nullptr});
        if (!text)
            throwIfFailed(
                resultOf([&] { part.comparable = collections::detail::comparableOf(element); }));
        return &part;
    }
    bool isBefore(const void* a, const void* b) override {
        const auto &first = *static_cast<const NaturalPart*>(a),
                   &second = *static_cast<const NaturalPart*>(b);
        if (first.text && second.text)
            return first.text->compare(*second.text) < 0;
        if (first.text)
            return compareElements(m_comparator, first.element, second.element) < 0;
        int order = 0;
        throwIfFailed(qx::detail::resultOfFilling(&order, [&] {
            return collections::detail::compareNaturally(first.element, first.comparable,
                                                         second.element, &order);
        }));
        return order < 0;
    }

private:
    IQXComparator& m_comparator;
    const void* const m_stringTable;
    /// Stays where it is while parts are added.
    std::deque<NaturalPart> m_parts;
};

/// An element, and what of it is compared: null for null.
struct Sorted {
    IQXUnknown* element;
    const void* part;
};

/// Merges runs of doubled lengths. std::merge stays within its runs whatever the order says, which
/// may be anybody's; std::stable_sort relies on it.
template <class IsBefore>
std::vector<Sorted> sorted(std::vector<Sorted> elements, IsBefore&& isBefore) {
    std::vector<Sorted> merged(elements.size());
    for (std::size_t length = 1; length < elements.size(); length *= 2) {
        auto target = merged.begin();
        for (std::size_t start = 0; start < elements.size(); start += 2 * length) {
            const std::size_t middle = std::min(start + length, elements.size());
            const std::size_t end = std::min(middle + length, elements.size());
            const auto first = elements.begin();
            const auto at = [first](std::size_t index) {
                return first + static_cast<std::ptrdiff_t>(index);
            };
            target = std::merge(at(start), at(middle), at(middle), at(end), target, isBefore);
        }
        elements.swap(merged);
    }
    return elements;
}

} // namespace

void sortList(List& list, ElementOrder& order) {
    std::vector<Reference<IQXUnknown>> held;
    std::vector<Sorted> elements;
    const auto walk = list.createListIterator(0);
    while (walk->hasNext()) {
        held.push_back(walk->next());
        IQXUnknown* const element = held.back();
        elements.push_back({element, element ? order.comparedPart(element) : nullptr});
    }
    elements = sorted(std::move(elements), [&order](const Sorted& a, const Sorted& b) {
        return a.part && b.part ? order.isBefore(a.part, b.part) : !a.part && b.part;
    });
    // The walk goes back, and notices when the list is another one than it came through.
    if (ArrayList* const array = exactArrayList(list); array && !elements.empty()) {
        walk->previous();
        for (std::size_t index = 0; index < elements.size(); ++index)
            ListAccess<ArrayList>::place(*array, index, elements[index].element);
        return;
    }
    for (std::size_t index = elements.size(); index-- > 0;) {
        if (walk->previous() != elements[index].element)
            walk->set(elements[index].element);
    }
}

void sortList(List& list) {
    const auto comparator = GetDefaultComparator();
    sortList(list, comparator.get());
}

void sortList(List& list, const IQXComparator* comparator) {
    const auto owned = ownedComparator(comparator);
    if (const void* const stringTable = collections::detail::naturalStringTable(*owned)) {
        NaturalOrder order(*owned, stringTable);
        sortList(list, order);
        return;
    }
    ComparedOrder order(*owned);
    sortList(list, order);
}

} // namespace qx::collections::pcom
