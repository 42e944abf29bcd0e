#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

/// Bytes or units on their way from one stage to the next. The room keeps its size once grown, and
/// is not cleared.
template <class T>
class Buffer {
public:
    Buffer() = default;
    Buffer(Buffer&& other) noexcept { swap(other); }
    Buffer& operator=(Buffer&& other) noexcept {
        swap(other);
        return *this;
    }

    const T* data() const { return m_items.get(); }
    int32_t size() const { return m_size; }
    int32_t room() const { return m_capacity - m_size; }
    /// Where the next item goes; room() items may be written there, then added.
    T* end() { return m_items.get() + m_size; }
    void added(int32_t count) { m_size += count; }

    /// Makes room for @p count further items.
    void reserve(int32_t count) {
        if (room() >= count)
            return;
        const int32_t size = m_size;
        const int32_t capacity = size + count;
        auto items = std::make_unique_for_overwrite<T[]>(static_cast<std::size_t>(capacity));
        std::copy_n(data(), size, items.get());
        m_items = std::move(items);
        m_capacity = capacity;
    }
    void append(const T* items, int32_t count) {
        reserve(count);
        std::copy_n(items, count, end());
        m_size += count;
    }
    void truncate(int32_t size) { m_size = size; }
    void swap(Buffer& other) noexcept {
        std::swap(m_items, other.m_items);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
    }
    void removeFront(int32_t count) {
        std::copy(data() + count, data() + m_size, m_items.get());
        m_size -= count;
    }

private:
    std::unique_ptr<T[]> m_items;
    int32_t m_size = 0;
    int32_t m_capacity = 0;
};
