#pragma once

#include <atomic>
#include <cstdint>

#include <qx/sync/ReaderWriterLock.h>
#include <qx/util/buffer/RWBuffer.h>

namespace qx::util {

/// Growable buffer for several threads: any number of readers hold it between getReadLock and
/// releaseReadLock, one writer between getWriteLock and releaseWriteLock. A write lock that fails
/// to get its room is not held.
///
/// getLength, getData and ensureCapacity take no lock; they are for the holder of one.
template <class Unit>
class QX_API MTBuffer : public RWBuffer<Unit> {
public:
    MTBuffer() = default;
    using RWBuffer<Unit>::RWBuffer;
    /// Holds @p other for reading meanwhile.
    MTBuffer(const MTBuffer& other);
    /// Holds @p other for reading, then this buffer for writing.
    MTBuffer& operator=(const MTBuffer& other);

    const Unit* getReadLock() const override;
    void releaseReadLock() const override;
    Unit* getWriteLock(int32_t capacity) override;
    /// @throws ResultException when the calling thread does not hold the write lock
    ///     (result::NotOwner); the length stays
    void releaseWriteLock(int32_t length) override;
    void freeExtra() override;

private:
    RWBuffer<Unit> snapshot() const;

    mutable sync::ReaderWriterLock m_lock;
    std::atomic<uint64_t> m_writer{0}; // identity of the thread that holds the write lock, or 0
};

extern template class MTBuffer<signed char>;
extern template class MTBuffer<char16_t>;

using MTByteBuffer = MTBuffer<signed char>;
using MTCharBuffer = MTBuffer<char16_t>;

} // namespace qx::util

using CQXMTByteBuffer = qx::util::MTByteBuffer;
using CQXMTCharBuffer = qx::util::MTCharBuffer;
