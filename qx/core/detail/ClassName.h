#pragma once

namespace qx {

class Object;
class String;

/// The name of an object's runtime class; "Object" when it cannot be had, as for an unregistered
/// one.
const char16_t* classNameOf(const Object& object) noexcept;
/// The name of an object's runtime class, or of an unregistered class as the compiler has it.
String typeNameOf(const Object& object);

} // namespace qx
