#pragma once

#include <typeinfo>

#include <qx/core/CastTo.h>

namespace qx::io::detail {

/// The stream as a @p Class when that is its very class, else null: a derived one may see every
/// byte. Compared by address: a description that a program has twice only means the long way.
template <class Class, class Base>
Class* exactly(Base& stream) noexcept {
    return qx::detail::typeOf(&stream) == &typeid(Class) ? static_cast<Class*>(&stream) : nullptr;
}

} // namespace qx::io::detail
