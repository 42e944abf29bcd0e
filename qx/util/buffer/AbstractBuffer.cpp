#include "qx/util/buffer/AbstractBuffer.h"

#include <qx/core/detail/ResultOfFilling.h>

namespace qx::util {

using qx::detail::resultOfStoring;

template <class Unit>
int32_t AbstractBuffer<Unit>::GetReadLock(const Unit** data) const {
    return resultOfStoring(data, [&] { return getReadLock(); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::ReleaseReadLock() const {
    return resultOf([&] { releaseReadLock(); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::GetWriteLock(int32_t capacity, Unit** data) {
    return resultOfStoring(data, [&] { return getWriteLock(capacity); });
}

template <class Unit>
int32_t AbstractBuffer<Unit>::EnsureCapacity(int32_t capacity, Unit** data) {
    return resultOfStoring(data, [&] { return ensureCapacity(capacity); });
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
