#include "qx/util/buffer/MTBuffer.h"

#include <mutex>
#include <shared_mutex>
#include <utility>

#include <qx/core/Result.h>
#include <qx/platform/native.h>

namespace qx::util {

template <class Unit>
MTBuffer<Unit>::MTBuffer(const MTBuffer& other) : RWBuffer<Unit>(other.snapshot()) {}

template <class Unit>
MTBuffer<Unit>& MTBuffer<Unit>::operator=(const MTBuffer& other) {
    RWBuffer<Unit> copy = other.snapshot();
    const std::lock_guard held(m_lock);
    RWBuffer<Unit>::operator=(std::move(copy));
    return *this;
}

template <class Unit>
const Unit* MTBuffer<Unit>::getReadLock() const {
    m_lock.waitShared();
    return RWBuffer<Unit>::getReadLock();
}

template <class Unit>
void MTBuffer<Unit>::releaseReadLock() const {
    m_lock.signalShared();
}

template <class Unit>
Unit* MTBuffer<Unit>::getWriteLock(int32_t capacity) {
    std::unique_lock held(m_lock);
    Unit* const units = this->ensureCapacity(capacity);
    m_writer = QXThreadIdentity();
    held.release(); // until releaseWriteLock
    return units;
}

template <class Unit>
void MTBuffer<Unit>::releaseWriteLock(int32_t length) {
    // The lock would refuse a stranger too, but only after the length was changed.
    if (m_writer != QXThreadIdentity())
        throwResult(result::NotOwner);
    RWBuffer<Unit>::releaseWriteLock(length);
    m_writer = 0;
    m_lock.signal();
}

template <class Unit>
void MTBuffer<Unit>::freeExtra() {
    const std::lock_guard held(m_lock);
    RWBuffer<Unit>::freeExtra();
}

template <class Unit>
RWBuffer<Unit> MTBuffer<Unit>::snapshot() const {
    const std::shared_lock held(m_lock);
    return RWBuffer<Unit>(static_cast<const RWBuffer<Unit>&>(*this));
}

template class MTBuffer<signed char>;
template class MTBuffer<char16_t>;

} // namespace qx::util
