#pragma once

#include <cstdint>
#include <memory>

#include <qx/util/buffer/AbstractBuffer.h>

namespace qx::util {

/// Growable buffer that owns its storage. Room is a multiple of 16 units and exactly as much as was
/// asked for, rounded up. For one thread at a time.
///
/// Whatever needs room throws std::bad_alloc when there is none, and the buffer stays as it was.
template <class Unit>
class QX_API RWBuffer : public AbstractBuffer<Unit> {
public:
    RWBuffer() noexcept = default;
    explicit RWBuffer(int32_t capacity) { allocBuffer(capacity); }
    /// Copies @p length units into storage for at least @p capacity.
    RWBuffer(const Unit* data, int32_t length, int32_t capacity = 0);
    RWBuffer(const RWBuffer& other);
    RWBuffer(RWBuffer&& other) noexcept;
    RWBuffer& operator=(const RWBuffer& other);
    RWBuffer& operator=(RWBuffer&& other) noexcept;

    int32_t getLength() const override { return m_length; }
    const Unit* getData() const override { return m_storage.get(); }
    const Unit* getReadLock() const override { return m_storage.get(); }
    void releaseReadLock() const override {}
    bool isWritable() const override { return true; }
    Unit* getWriteLock(int32_t capacity) override { return ensureCapacity(capacity); }
    Unit* ensureCapacity(int32_t capacity) override;
    /// A length beyond the capacity is cut to it.
    void releaseWriteLock(int32_t length) override;
    void freeExtra() override;

    /// Units that fit without new storage.
    int32_t getCapacity() const noexcept { return m_capacity; }

private:
    void allocBuffer(int32_t capacity);
    void reallocBuffer(int32_t capacity);

    std::unique_ptr<Unit[]> m_storage;
    int32_t m_capacity = 0;
    int32_t m_length = 0;
};

extern template class RWBuffer<signed char>;
extern template class RWBuffer<char16_t>;

using RWByteBuffer = RWBuffer<signed char>;
using RWCharBuffer = RWBuffer<char16_t>;

} // namespace qx::util

using CQXRWByteBuffer = qx::util::RWByteBuffer;
using CQXRWCharBuffer = qx::util::RWCharBuffer;
