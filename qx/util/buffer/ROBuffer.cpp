#include "qx/util/buffer/ROBuffer.h"

namespace qx::util {

namespace {

template <class Unit>
int32_t refuse(Unit** data) {
    if (!data)
        return result::NullPointer;
    *data = nullptr;
    return result::NotImplemented;
}

} // namespace

template <class Unit>
int32_t ROBuffer<Unit>::GetWriteLock(int32_t /*capacity*/, Unit** data) {
    return refuse(data);
}

template <class Unit>
int32_t ROBuffer<Unit>::EnsureCapacity(int32_t /*capacity*/, Unit** data) {
    return refuse(data);
}

template class ROBuffer<signed char>;
template class ROBuffer<char16_t>;

} // namespace qx::util
