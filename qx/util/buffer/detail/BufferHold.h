#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

#include <qx/core/Result.h>
#include <qx/util/buffer/IBuffer.h>

namespace qx::util::detail {

/// Holds a component buffer for writing. Ends that with the length that finish sets; without it,
/// on the way out of a failure, with the length that the buffer had.
template <class Unit>
class WriteHold {
public:
    /// @throws ResultException when the buffer refuses; result::NullPointer when it gives no room
    WriteHold(IBuffer<Unit>& buffer, int32_t capacity) : m_buffer(&buffer) {
        throwIfFailed(buffer.GetWriteLock(capacity, &m_units));
        if (m_units || capacity < 1) [[likely]]
            return;
        buffer.ReleaseWriteLock(-1);
        throwResult(result::NullPointer, u"a buffer without room");
    }
    ~WriteHold() {
        if (m_buffer)
            m_buffer->ReleaseWriteLock(-1);
    }
    WriteHold(const WriteHold&) = delete;
    WriteHold& operator=(const WriteHold&) = delete;

    Unit* units() const noexcept { return m_units; }

    /// The result of the release.
    /// @throws ResultException when the buffer refuses
    int32_t finish(int32_t length) {
        return throwIfFailed(std::exchange(m_buffer, nullptr)->ReleaseWriteLock(length));
    }

private:
    IBuffer<Unit>* m_buffer;
    Unit* m_units = nullptr;
};

/// Holds a component buffer for reading.
template <class Unit>
class ReadHold {
public:
    /// @throws ResultException when the buffer refuses; result::NullPointer when it gives no units
    ///     of those that it claims to have
    explicit ReadHold(const IBuffer<Unit>& buffer) : m_buffer(&buffer) {
        throwIfFailed(buffer.GetReadLock(&m_units));
        if (m_units || buffer.GetLength() < 1) [[likely]]
            return;
        buffer.ReleaseReadLock();
        throwResult(result::NullPointer, u"a buffer without units");
    }
    ~ReadHold() {
        if (m_buffer)
            m_buffer->ReleaseReadLock();
    }
    ReadHold(const ReadHold&) = delete;
    ReadHold& operator=(const ReadHold&) = delete;

    const Unit* units() const noexcept { return m_units; }
    int32_t length() const { return std::max(m_buffer->GetLength(), 0); }

    /// @throws ResultException when the buffer refuses
    void finish() { throwIfFailed(std::exchange(m_buffer, nullptr)->ReleaseReadLock()); }

private:
    const IBuffer<Unit>* m_buffer;
    const Unit* m_units = nullptr;
};

} // namespace qx::util::detail
