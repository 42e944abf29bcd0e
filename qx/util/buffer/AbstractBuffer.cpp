#include "qx/util/buffer/AbstractBuffer.h"

#include <qx/core/Result.h>

namespace qx::util {

namespace {

/// Runs @p operation and stores the pointer that it returns, null when it fails.
template <class Pointer, class Operation>
int32_t store(Pointer* out, Operation&& operation) noexcept {
    if (!out)
        return result::NullPointer;
    *out = nullptr;
    return resultOf([&] { *out = operation(); });
}

} // namespace

template <class Unit>
int32_t AbstractBuffer<Unit>::GetReadLock(const Unit** data) const {
    return store(data, [&] { return getReadLock(); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::ReleaseReadLock() const {
    return resultOf([&] { releaseReadLock(); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::GetWriteLock(int32_t capacity, Unit** data) {
    return store(data, [&] { return getWriteLock(capacity); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::EnsureCapacity(int32_t capacity, Unit** data) {
    return store(data, [&] { return ensureCapacity(capacity); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::ReleaseWriteLock(int32_t length) {
    return resultOf([&] { releaseWriteLock(length); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::FreeExtra() {
    return resultOf([&] { freeExtra(); });
}

template class AbstractBuffer<signed char>;
template class AbstractBuffer<char16_t>;

} // namespace qx::util
