#pragma once

namespace qx {

class Object;

/// The name of an object's runtime class; "Object" when it cannot be had, as for an unregistered
/// one.
const char16_t* classNameOf(const Object& object) noexcept;

} // namespace qx
