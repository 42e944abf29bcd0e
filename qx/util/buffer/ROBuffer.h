#pragma once

#include <cstdint>

#include <qx/platform/result.h>
#include <qx/util/buffer/AbstractBuffer.h>

namespace qx::util {

/// Read-only view of units that somebody else owns and keeps alive and unchanged.
template <class Unit>
class QX_API ROBuffer : public AbstractBuffer<Unit> {
public:
    ROBuffer() noexcept = default;
    /// The third argument has no meaning; it makes the three kinds of buffer alike.
    ROBuffer(const Unit* data, int32_t length, int32_t /*capacity*/ = 0) noexcept
        : m_data(data), m_length(length) {}

    int32_t getLength() const override { return m_length; }
    const Unit* getData() const override { return m_data; }
    const Unit* getReadLock() const override { return m_data; }
    void releaseReadLock() const override {}
    bool isWritable() const override { return false; }
    /// Null: there is nothing to write to. The interface methods fail with result::NotImplemented.
    Unit* getWriteLock(int32_t /*capacity*/) override { return nullptr; }
    Unit* ensureCapacity(int32_t /*capacity*/) override { return nullptr; }
    void releaseWriteLock(int32_t /*length*/) override {}
    void freeExtra() override {}

    int32_t GetWriteLock(int32_t capacity, Unit** data) override;
    int32_t EnsureCapacity(int32_t capacity, Unit** data) override;
    int32_t ReleaseWriteLock(int32_t /*length*/) override { return result::NotImplemented; }

private:
    const Unit* m_data = nullptr;
    int32_t m_length = 0;
};

extern template class ROBuffer<signed char>;
extern template class ROBuffer<char16_t>;

using ROByteBuffer = ROBuffer<signed char>;
using ROCharBuffer = ROBuffer<char16_t>;

} // namespace qx::util

using CQXROByteBuffer = qx::util::ROByteBuffer;
using CQXROCharBuffer = qx::util::ROCharBuffer;
