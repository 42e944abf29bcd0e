#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/TypeName.h>
#include <qx/platform/export.h>
#include <qx/platform/result.h>

namespace qx {

/// @p pointer itself, which must not be null: checks what an object is made around or a call works
/// on.
/// @throws ResultException with result::NullPointer
template <class T>
T* required(T* pointer) {
    if (!pointer)
        throwResult(result::NullPointer, u"no object given");
    return pointer;
}

template <class T>
Reference<T> required(Reference<T> reference) {
    required(reference.get());
    return reference;
}

/// Throws CastFailedException "not a qx::String", whatever the name of the class is that was
/// wanted.
[[noreturn]] QX_API void throwCastFailed(std::string_view wanted);
/// Throws RangeErrorException "index 7, size 3".
[[noreturn]] QX_API void throwOutOfRange(int64_t index, int64_t size);
/// Throws CloneNotSupportedException, whose description names the class of the object.
[[noreturn]] QX_API void throwNotCloneable(const Object& object);

/// The object that a cast has led to.
/// @throws CastFailedException when the cast has failed, that is, when @p result is null
template <class T>
T& requireCast(T* result) {
    if (!result)
        throwCastFailed(typeName<std::remove_cv_t<T>>());
    return *result;
}

} // namespace qx
