#pragma once

#include <concepts>
#include <cstddef>
#include <utility>

#include <qx/collections/Element.h>
#include <qx/collections/IComparator.h>
#include <qx/core/ComObject.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>

// What callers hand over as an element of any class, and how it becomes the unknown interface that
// collections of component objects take.

namespace qx::collections::pcom {

/// What stands for an element beside an IQXUnknown*: a pointer or Reference to an object, whose own
/// unknown interface is meant, or a text, which stands for a new String.
template <class V>
concept SomeElement = !std::same_as<V, std::nullptr_t> &&
                      (std::convertible_to<const V&, ComObject*> || ValueFor<V, Object>);

/// The same for an element that is looked for, which may also be the object itself.
template <class V>
concept SoughtElement = !std::same_as<V, std::nullptr_t> &&
                        (std::convertible_to<const V&, const ComObject*> || SoughtFor<V, Object>);

/// What becomes the unknown interface of an element: one of these, the interface itself, or null.
template <class V>
concept ElementOrUnknown = SomeElement<V> || std::convertible_to<const V&, IQXUnknown*>;

/// The unknown interface of an element: a pointer, or a Reference to what was made for a text.
template <ElementOrUnknown V>
auto unknownFor(const V& element) {
    if constexpr (std::same_as<V, std::nullptr_t>) {
        return static_cast<IQXUnknown*>(nullptr);
    } else if constexpr (std::convertible_to<const V&, ComObject*>) {
        ComObject* const object = element;
        return static_cast<IQXUnknown*>(object);
    } else if constexpr (ValueFor<V, Object>) {
        return Reference<IQXUnknown>(newElement<Object>(element)->GetUnknown());
    } else {
        return static_cast<IQXUnknown*>(element);
    }
}

/// The unknown interface of an element that a call looks for.
template <SoughtElement V>
class SoughtUnknown {
public:
    explicit SoughtUnknown(const V& element) : m_element(element) {}

    operator const IQXUnknown*() const noexcept {
        if constexpr (std::convertible_to<const V&, const ComObject*>)
            return m_element;
        else
            return m_element.get()->GetUnknown();
    }

private:
    template <class T>
    struct HeldFor {
        using Type = Sought<Object, T>;
    };
    template <class T>
    requires std::convertible_to<const T&, const ComObject*>
    struct HeldFor<T> {
        using Type = const ComObject*;
    };

    const typename HeldFor<V>::Type m_element;
};

/// An element of a list in braces: what a collection takes as one, or null. A comparator is none:
/// alone in braces it is what a collection is made with.
class AnyElement {
public:
    template <ElementOrUnknown V>
    requires(!std::convertible_to<const V&, const IQXComparator*>) AnyElement(const V& element)
        : m_element(unknownFor(element)) {}
    AnyElement(std::nullptr_t) noexcept {}

    IQXUnknown* get() const noexcept { return m_element; }

private:
    Reference<IQXUnknown> m_element;
};

/// Key and value of a map in braces.
using AnyEntry = std::pair<AnyElement, AnyElement>;

} // namespace qx::collections::pcom
