#pragma once

#include <type_traits>

#include <qx/core/Object.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Reference.h>
#include <qx/core/Required.h>

// The step between the typed elements of a facade and the component objects in what it wraps.

namespace qx::collections {

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

/// The object that a facade stands for in comparisons: what it wraps when @p other is a @p Facade,
/// else @p other itself.
/// @throws CastFailedException when what it wraps is not an Object
template <class Facade>
const Object& unwrapped(const Object& other) {
    const auto* const facade = dynamic_cast<const Facade*>(&other);
    return facade ? requireCast(qx::pcom::objectBehind<const Object>(facade->getWrapped())) : other;
}

} // namespace qx::collections
