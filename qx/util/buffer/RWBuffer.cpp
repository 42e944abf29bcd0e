#include "qx/util/buffer/RWBuffer.h"

#include <algorithm>
#include <utility>

#include <qx/core/detail/CheckedSize.h>

namespace qx::util {

template <class Unit>
RWBuffer<Unit>::RWBuffer(const Unit* data, int32_t length, int32_t capacity) {
    const int32_t count = data ? std::max(length, 0) : 0;
    allocBuffer(std::max(count, capacity));
    std::copy_n(data, count, m_storage.get());
    m_length = count;
}

template <class Unit>
RWBuffer<Unit>::RWBuffer(const RWBuffer& other) : RWBuffer(other.m_storage.get(), other.m_length) {}

template <class Unit>
RWBuffer<Unit>::RWBuffer(RWBuffer&& other) noexcept
    : m_storage(std::move(other.m_storage)), m_capacity(std::exchange(other.m_capacity, 0)),
      m_length(std::exchange(other.m_length, 0)) {}

template <class Unit>
RWBuffer<Unit>& RWBuffer<Unit>::operator=(const RWBuffer& other) {
    if (this != &other)
        *this = RWBuffer(other);
    return *this;
}

template <class Unit>
RWBuffer<Unit>& RWBuffer<Unit>::operator=(RWBuffer&& other) noexcept {
    if (this != &other) {
        m_storage = std::move(other.m_storage);
        m_capacity = std::exchange(other.m_capacity, 0);
        m_length = std::exchange(other.m_length, 0);
    }
    return *this;
}

template <class Unit>
Unit* RWBuffer<Unit>::ensureCapacity(int32_t capacity) {
    if (m_capacity < capacity)
        reallocBuffer(capacity);
    return m_storage.get();
}

template <class Unit>
void RWBuffer<Unit>::releaseWriteLock(int32_t length) {
    if (length >= 0)
        m_length = std::min(length, m_capacity);
}

template <class Unit>
void RWBuffer<Unit>::freeExtra() {
    if (m_length == 0) {
        m_storage.reset();
        m_capacity = 0;
    } else if (detail::adjustedCapacity(m_length) < m_capacity) {
        reallocBuffer(m_length);
    }
}

template <class Unit>
void RWBuffer<Unit>::allocBuffer(int32_t capacity) {
    if (capacity <= 0)
        return;
    const int32_t adjusted = detail::adjustedCapacity(capacity);
    m_storage = std::make_unique_for_overwrite<Unit[]>(static_cast<std::size_t>(adjusted));
    m_capacity = adjusted;
}

template <class Unit>
void RWBuffer<Unit>::reallocBuffer(int32_t capacity) {
    const int32_t adjusted = detail::adjustedCapacity(capacity);
    auto storage = std::make_unique_for_overwrite<Unit[]>(static_cast<std::size_t>(adjusted));
    // Everything moves, not just the length: a writer that asks for more room under its lock has
    // not told us yet how much it wrote.
    std::copy_n(m_storage.get(), std::min(m_capacity, adjusted), storage.get());
    m_storage = std::move(storage);
    m_capacity = adjusted;
}

template class RWBuffer<signed char>;
template class RWBuffer<char16_t>;

} // namespace qx::util
