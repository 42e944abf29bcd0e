#pragma once

#include <cstring>
#include <exception>
#include <type_traits>
#include <typeinfo>

#include <qx/core/ComObject.h>
#include <qx/platform/export.h>

namespace qx {

class Object;

namespace detail {

/// The table of functions through which an object is called by @p interface. It tells the exact
/// class in one read, also where the object knows no run-time types: a short cut for callers that
/// go on in the general way when it misses. Not null.
inline const void* functionTableOf(const void* interface) noexcept {
    const void* table = nullptr;
    std::memcpy(&table, interface, sizeof(table));
    return table;
}

/// The class of an object, which is called by @p object; null for one whose class was compiled
/// without run-time type information.
inline const std::type_info* typeOf(const void* object) noexcept {
    // In front of the functions, as the ABI of C++ has it.
    return static_cast<const std::type_info* const*>(functionTableOf(object))[-1];
}

/// Whether an object is of the class @p T itself rather than of one derived from it. Unlike a
/// comparison of typeid, this is safe for a class that has no run-time type information; it is
/// false for one, and always in a program that is compiled without.
template <class T>
bool isExactly([[maybe_unused]] const T& object) noexcept {
#ifdef __GXX_RTTI
    const std::type_info* const type = typeOf(&object);
    return type && *type == typeid(T);
#else
    return false;
#endif
}

/// The class that the pointer points to that was thrown.
QX_API const std::type_info& pointedTo(const std::exception_ptr& thrown);
/// The part of an object that is of the class @p type, which is neither its own static class nor a
/// base of that; null when there is none. Not for an object without a type.
QX_API void* partOfType(const ComObject& object, const std::type_info& type);
/// An object without a type as the Object that it says it is; null when it is none.
QX_API Object* untypedObject(const ComObject* object);

#ifndef __GXX_RTTI
/// The class without typeid: exceptions have their types in programs of any kind.
template <class T>
const std::type_info& typeThrown() {
    static const std::type_info* const s_type =
        &pointedTo(std::make_exception_ptr(static_cast<std::remove_cv_t<T>*>(nullptr)));
    return *s_type;
}
#endif

} // namespace detail

/// The object as a @p T; null for null and for an object that is none. As a dynamic_cast, but it
/// also compiles in a program without run-time type information (-fno-rtti). Of an object of a
/// class that such a program defines only that it is an Object is known.
template <class T, class Base>
T* castTo(Base* object) {
    static_assert(std::is_const_v<T> || !std::is_const_v<Base>,
                  "what is found in a constant object is constant");
    if constexpr (std::is_convertible_v<Base*, T*>) {
        return object;
    } else if (!object) {
        return nullptr;
    } else if (!detail::typeOf(object)) {
        if constexpr (std::is_same_v<std::remove_cv_t<T>, Object>)
            return detail::untypedObject(object);
        return nullptr;
    } else {
#ifdef __GXX_RTTI
        // What is exactly a T, as most objects are, needs no search through its bases.
        if constexpr (requires { static_cast<T*>(object); } && !std::is_abstract_v<T>) {
            if (*detail::typeOf(object) == typeid(T))
                return static_cast<T*>(object);
        }
        return dynamic_cast<T*>(object);
#else
        return static_cast<T*>(detail::partOfType(*object, detail::typeThrown<T>()));
#endif
    }
}

} // namespace qx
