#include "qx/collections/pcom/ElementOrder.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include <qx/collections/Comparing.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/collections/detail/NaturalOrder.h>
#include <qx/collections/pcom/List.h>
#include <qx/core/String.h>

namespace qx::collections::pcom {

namespace {

/// The order of a comparator.
class ComparedOrder final : public ElementOrder {
public:
    explicit ComparedOrder(IQXComparator& comparator)
        : m_comparator(comparator),
          m_stringTable(collections::detail::naturalStringTable(comparator)) {}

    const void* comparedPart(IQXUnknown* element) override { return element; }
    bool isBefore(const void* a, const void* b) override {
        const auto *first = static_cast<const IQXUnknown*>(a),
                   *second = static_cast<const IQXUnknown*>(b);
        if (const String* const text = collections::detail::exactString(first, m_stringTable))
            if (const String* const other = collections::detail::exactString(second, m_stringTable))
                return text->compareTo(*other) < 0;
        return compareElements(m_comparator, first, second) < 0;
    }

private:
    IQXComparator& m_comparator;
    /// Recognises plain strings, which need no comparator where the order is the natural one.
    const void* const m_stringTable;
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
    ComparedOrder order(*owned);
    sortList(list, order);
}

} // namespace qx::collections::pcom
