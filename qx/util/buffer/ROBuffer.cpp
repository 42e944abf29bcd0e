#include "qx/util/buffer/ROBuffer.h"

#include <qx/platform/result.h>

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
int32_t ROBuffer<Unit>::getLength() const {
    return m_length;
}

template <class Unit>
const Unit* ROBuffer<Unit>::getData() const {
    return m_data;
}

template <class Unit>
const Unit* ROBuffer<Unit>::getReadLock() const {
    return m_data;
}

template <class Unit>
void ROBuffer<Unit>::releaseReadLock() const {}

template <class Unit>
bool ROBuffer<Unit>::isWritable() const {
    return false;
}

template <class Unit>
Unit* ROBuffer<Unit>::getWriteLock(int32_t /*capacity*/) {
    return nullptr;
}

template <class Unit>
Unit* ROBuffer<Unit>::ensureCapacity(int32_t /*capacity*/) {
    return nullptr;
}

template <class Unit>
void ROBuffer<Unit>::releaseWriteLock(int32_t /*length*/) {}

template <class Unit>
void ROBuffer<Unit>::freeExtra() {}

template <class Unit>
int32_t ROBuffer<Unit>::GetWriteLock(int32_t /*capacity*/, Unit** data) {
    return refuse(data);
}

template <class Unit>
int32_t ROBuffer<Unit>::EnsureCapacity(int32_t /*capacity*/, Unit** data) {
    return refuse(data);
}

template <class Unit>
int32_t ROBuffer<Unit>::ReleaseWriteLock(int32_t /*length*/) {
    return result::NotImplemented;
}

template class ROBuffer<signed char>;
template class ROBuffer<char16_t>;

} // namespace qx::util
