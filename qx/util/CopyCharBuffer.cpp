#include <qx/util/CopyCharBuffer.h>

#include <algorithm>

#include <qx/core/Result.h>
#include <qx/util/IBuffer.h>

namespace {

/// Ends writing on every way out; without a length the buffer keeps the one it had.
class WriteLock {
public:
    WriteLock(IQXCharBuffer& buffer, int32_t capacity) : m_buffer(&buffer) {
        qx::throwIfFailed(buffer.GetWriteLock(capacity, &m_units));
    }
    ~WriteLock() {
        if (m_buffer)
            m_buffer->ReleaseWriteLock(-1);
    }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

    char16_t* units() const { return m_units; }

    int32_t release(int32_t length) {
        IQXCharBuffer* const buffer = m_buffer;
        m_buffer = nullptr;
        return qx::throwIfFailed(buffer->ReleaseWriteLock(length));
    }

private:
    IQXCharBuffer* m_buffer;
    char16_t* m_units = nullptr;
};

} // namespace

int32_t QXCopyCharBuffer(IQXCharBuffer* destination, const IQXCharBuffer* source) {
    const int32_t length = source->GetLength();
    WriteLock lock(*destination, length);
    const char16_t* units = nullptr;
    qx::throwIfFailed(source->GetReadLock(&units));
    std::copy_n(units, length, lock.units());
    qx::throwIfFailed(source->ReleaseReadLock());
    return lock.release(length);
}
