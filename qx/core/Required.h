#pragma once

#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
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

/// The object that a cast has led to.
/// @throws CastFailedException when the cast has failed, that is, when @p result is null
template <class T>
T& requireCast(T* result) {
    if (!result)
        throw CastFailedException();
    return *result;
}

} // namespace qx
