#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>

#include <qx/core/AnyText.h>
#include <qx/core/CastTo.h>
#include <qx/core/Object.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/core/String.h>

// The step between the typed elements of a facade and the component objects in what it wraps.

namespace qx::collections {

namespace pcom {

class Collection;
class Map;

} // namespace pcom

/// A text where a String will do as a T.
template <class V, class T>
concept TextFor = !std::same_as<V, std::nullptr_t> && SomeText<V> && std::is_base_of_v<T, String>;

/// A value that stands for a new T: a text for a String, else what becomes a T by itself and as a
/// whole, as an int does for an Integer32.
template <class V, class T>
concept ValueFor = TextFor<V, T> ||
    (!std::is_pointer_v<V> && !std::same_as<V, std::nullptr_t> &&
     std::convertible_to<const V&, T> &&
     (std::same_as<V, T> || !std::is_base_of_v<T, V>)&&requires(const V& value) { T{value}; });

/// What an equal T is looked for by: such a value, or an object itself.
template <class V, class T>
concept SoughtFor = ValueFor<V, T> || std::derived_from<V, T>;

/// A pointer or Reference to a T, or null.
template <class V, class T>
concept PointerFor = std::convertible_to<const V&, T*>;

/// What a T is put by.
template <class V, class T>
concept GivenFor = PointerFor<V, T> || ValueFor<V, T>;

template <class T, ValueFor<T> V>
Reference<T> newElement(const V& value) {
    if constexpr (TextFor<V, T>)
        return makeReference<String>(stringOf(value));
    else
        return makeReference<T>(value);
}

/// The object that a call looks for by a value, which outlives it.
template <class T, SoughtFor<T> V>
class Sought {
public:
    explicit Sought(const V& value) : m_object(held(value)) {}

    const T* get() const noexcept { return &m_object; }

private:
    static decltype(auto) held(const V& value) {
        if constexpr (std::derived_from<V, T>)
            return (value);
        else if constexpr (TextFor<V, T>)
            return stringOf(value);
        else
            return T(value);
    }

    const decltype(held(std::declval<const V&>())) m_object;
};

/// An element of a list in braces: a pointer or Reference to a @p T, null, or a value that stands
/// for one. A collection or map is none: in braces it is what a facade is made around.
template <class T>
class Given {
public:
    template <PointerFor<T> V>
    requires(!std::convertible_to<const V&, const pcom::Collection*> &&
             !std::convertible_to<const V&, const pcom::Map*>) Given(const V& element)
        : m_element(element) {}
    Given(std::nullptr_t) noexcept {}
    template <ValueFor<T> V>
    Given(const V& value) : m_element(newElement<T>(value)) {}

    T* get() const noexcept { return m_element; }

private:
    Reference<T> m_element;
};

/// The element as collections of component objects take it; null stays null.
template <class T>
IQXUnknown* unknownOf(T* element) {
    static_assert(std::is_base_of_v<Object, T>, "elements are objects");
    return element ? element->GetUnknown() : nullptr;
}
template <class T>
const IQXUnknown* unknownOf(const T* element) {
    static_assert(std::is_base_of_v<Object, T>, "elements are objects");
    return element ? element->GetUnknown() : nullptr;
}

/// The element as a @p T; null stays null, and any element is an IQXUnknown.
/// @throws CastFailedException when it is something else
template <class T>
Reference<T> elementAs(Reference<IQXUnknown> element) {
    if constexpr (std::is_same_v<T, IQXUnknown>) {
        return element;
    } else {
        if (!element)
            return nullptr;
        T* const typed = &requireCast(qx::pcom::objectBehind<T>(element.get()));
        // Another pointer may be that of a stranger who stands in front of the object.
        if (typed->GetUnknown() != element.get())
            return Reference<T>(typed);
        static_cast<void>(element.detach());
        return Reference<T>::attach(typed);
    }
}

/// The same for an element that a change of a collection has just taken out of it, which
/// @p putBack puts back when it is something else.
template <class T, class PutBack>
Reference<T> takenAs(const Reference<IQXUnknown>& element, PutBack&& putBack) {
    try {
        return elementAs<T>(element);
    } catch (const CastFailedException&) {
        putBack(element.get());
        throw;
    }
}

/// The class of the element that a walk came to last, and where in its objects the T lies. Whoever
/// asks holds that element, which keeps the class in memory.
template <class T>
class MetClass {
public:
    /// True when @p element is null or of the class, which that of @p last is.
    bool includes(const IQXUnknown* element, const Reference<T>& last) const noexcept {
        return !element || (last && qx::detail::functionTableOf(element) == m_table);
    }
    /// Such an element as a T.
    Reference<T> cast(IQXUnknown* element) const {
        if (!element)
            return nullptr;
        element->AddRef();
        return Reference<T>::attach(
            reinterpret_cast<T*>(reinterpret_cast<char*>(element) + m_displacement));
    }
    /// Any element as a T, whose class is the one from now on.
    /// @throws CastFailedException when it is none
    Reference<T> meet(const Reference<IQXUnknown>& element) {
        m_table = nullptr;
        auto typed = elementAs<T>(element);
        // A stranger in front of the object has a table that says nothing about it.
        if (typed && typed->GetUnknown() == element.get()) {
            m_table = qx::detail::functionTableOf(element.get());
            m_displacement = reinterpret_cast<const char*>(typed.get()) -
                             reinterpret_cast<const char*>(element.get());
        }
        return typed;
    }

private:
    const void* m_table = nullptr;
    std::ptrdiff_t m_displacement = 0;
};

/// All elements are of this one.
template <>
class MetClass<IQXUnknown> {
public:
    bool includes(const IQXUnknown*, const Reference<IQXUnknown>&) const noexcept { return true; }
    Reference<IQXUnknown> cast(IQXUnknown* element) const { return element; }
    Reference<IQXUnknown> meet(const Reference<IQXUnknown>& element) { return element; }
};

/// The object that @p other stands for in comparisons with the facade @p self: what it wraps when
/// it is a @p Facade too, else @p other itself.
/// @throws CastFailedException when what it wraps is not an Object
template <class Facade>
const Object& unwrapped(const Facade& self, const Object& other) {
    // Facades of the same class know each other also where classes have no type information.
    const bool isAlike = qx::detail::functionTableOf(&self) == qx::detail::functionTableOf(&other);
    const auto* const facade =
        isAlike ? static_cast<const Facade*>(&other) : castTo<const Facade>(&other);
    return facade ? requireCast(qx::pcom::objectBehind<const Object>(facade->getWrapped())) : other;
}

} // namespace qx::collections
