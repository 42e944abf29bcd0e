#pragma once

#include <type_traits>

#include <qx/collections/Element.h>
#include <qx/collections/IComparator.h>
#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

class List;

/// An order by which a list is sorted. Null elements come first and are never handed over.
class ElementOrder {
public:
    /// What of an element is compared, asked once for each and not counted.
    virtual const void* comparedPart(IQXUnknown* element) = 0;
    /// True when the part @p a has to come before @p b.
    virtual bool isBefore(const void* a, const void* b) = 0;

protected:
    ~ElementOrder() = default;
};

/// The order of a function over two objects of class @p T, which returns whether the first comes
/// before the second, or how the first compares with the second: negative, 0, positive, or an
/// ordering of the language.
template <class T, class Compare>
class CalledOrder final : public ElementOrder {
public:
    static_assert(std::is_invocable_v<Compare&, const T&, const T&>,
                  "the order of a list takes two elements by constant reference");

    explicit CalledOrder(Compare& compare) noexcept : m_compare(compare) {}

    /// @throws CastFailedException for an element that is not a T
    const void* comparedPart(IQXUnknown* element) override {
        return &requireCast(qx::pcom::objectBehind<T>(element));
    }
    bool isBefore(const void* a, const void* b) override {
        const auto result = m_compare(*static_cast<const T*>(a), *static_cast<const T*>(b));
        if constexpr (std::is_same_v<decltype(result), const bool>)
            return result;
        else
            return result < 0;
    }

private:
    Compare& m_compare;
};

/// Sorts a list so that elements of which none comes before the other keep their order. A list that
/// is in order already is left as it is. Elements are replaced, each of which counts as a change,
/// once all are compared: what the order throws leaves the list as it was. Takes n log n
/// comparisons and memory for five pointers per element.
/// @throws Exception when the list was changed meanwhile
QX_API void sortList(List& list, ElementOrder& order);
/// By the natural order, that of qx::util::Comparator.
QX_API void sortList(List& list);
/// @throws ResultException with result::NullPointer, or with the code of the comparator
QX_API void sortList(List& list, const IQXComparator* comparator);

/// By a function over two elements of class @p T; see CalledOrder.
template <class T, class Compare>
void sortListOf(List& list, Compare& compare) {
    CalledOrder<T, Compare> order(compare);
    sortList(list, order);
}

} // namespace qx::collections::pcom
