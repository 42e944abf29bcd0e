#pragma once

#include <qx/core/Exception.h>

namespace qx {

/// The object that a cast has led to.
/// @throws CastFailedException when the cast has failed, that is, when @p result is null
template <class T>
T& requireCast(T* result) {
    if (!result)
        throw CastFailedException();
    return *result;
}

} // namespace qx
