#pragma once

#include <cstdint>
#include <functional>

#include <qx/collections/Comparator.h>
#include <qx/collections/Comparing.h>
#include <qx/collections/IComparator.h>
#include <qx/core/CastTo.h>
#include <qx/core/Comparable.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/platform/result.h>

// The natural order, and a short cut through it for the commonest elements. What that finds is what
// the comparator would, without the query for an interface and the casts behind it.

namespace qx::collections::detail {

/// The object's own order and hash; null when it has none.
inline Reference<IQXComparable> comparableOf(const IQXUnknown* object) {
    // A query changes no more than the count.
    return object ? qx::detail::interfaceOf<IQXComparable>(*const_cast<IQXUnknown*>(object))
                  : nullptr;
}

/// Compares @p object, whose own order is @p comparable, with @p other.
/// @return what CompareTo returns
inline int32_t compareNaturally(const IQXUnknown* object, IQXComparable* comparable,
                                const IQXUnknown* other, int* result) {
    if (comparable)
        return comparable->CompareTo(other, result);
    *result = std::less<>()(other, object) - std::less<>()(object, other);
    return result::Ok;
}

/// The table of what is exactly a String, for exactString, when @p comparator is exactly the one of
/// the natural order, whose answers for a String are known; else null.
inline const void* naturalStringTable(const IQXComparator& comparator) {
    static const void* const s_naturalOrder = [] {
        const util::Comparator natural;
        return qx::detail::functionTableOf(static_cast<const IQXComparator*>(&natural));
    }();
    static const void* const s_string = qx::detail::functionTableOf(String().GetUnknown());
    return qx::detail::functionTableOf(&comparator) == s_naturalOrder ? s_string : nullptr;
}

/// The element as a String, whose text is there without a call of anybody's code; null when it is
/// anything else, a class derived from String and a String in a foreign buffer included, and when
/// it comes by another interface than its first.
inline const String* exactString(const IQXUnknown* element, const void* stringTable) noexcept {
    if (!element || qx::detail::functionTableOf(element) != stringTable)
        return nullptr;
    const auto* const text = static_cast<const String*>(static_cast<const ComObject*>(element));
    return text->isInForeignBuffer() ? nullptr : text;
}

/// Two elements as strings; false when either is none or the order is another one.
class ExactStrings {
public:
    ExactStrings(const IQXUnknown* element, const IQXUnknown* other,
                 const void* stringTable) noexcept
        : m_text(exactString(element, stringTable)), m_other(exactString(other, stringTable)) {}

    explicit operator bool() const noexcept { return m_text && m_other; }
    bool areEqual() const noexcept { return *m_text == *m_other; }
    int order() const { return m_text->compare(*m_other); }

private:
    const String *m_text, *m_other;
};

/// Compares many elements by one comparator.
class ElementComparison {
public:
    explicit ElementComparison(IQXComparator& comparator)
        : m_comparator(comparator), m_stringTable(naturalStringTable(comparator)) {}

    /// Asks no comparator where this is true.
    ExactStrings strings(const IQXUnknown* element, const IQXUnknown* other) const noexcept {
        return {element, other, m_stringTable};
    }
    /// @throws ResultException when the comparator fails
    int compare(const IQXUnknown* element, const IQXUnknown* other) const {
        const ExactStrings texts = strings(element, other);
        return texts ? texts.order() : compareElements(m_comparator, element, other);
    }
    /// @throws ResultException when the comparator fails
    bool areEqual(const IQXUnknown* element, const IQXUnknown* other) const {
        const ExactStrings texts = strings(element, other);
        return texts ? texts.areEqual() : equalElements(m_comparator, element, other);
    }

private:
    IQXComparator& m_comparator;
    const void* const m_stringTable;
};

} // namespace qx::collections::detail
