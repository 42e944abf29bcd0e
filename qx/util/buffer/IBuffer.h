#pragma once

#include <cstdint>
#include <type_traits>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::util {

/// Buffer through which a callee hands a variable amount of @p Unit back to a caller that owns the
/// storage: bytes (signed char) or UTF-16 units (char16_t). All counts are in units.
///
/// To fill a buffer, call GetWriteLock with the most units that may come, write, and call
/// ReleaseWriteLock with the number of units written. Whoever needs more room in between calls
/// EnsureCapacity and goes on at the new address.
template <class Unit>
class QX_INTERFACE IBuffer : public IQXUnknown {
public:
    virtual int32_t GetLength() const = 0;
    /// The units without a lock; null for a buffer without storage.
    virtual const Unit* GetData() const = 0;
    /// Holds the units for reading until ReleaseReadLock.
    virtual int32_t GetReadLock(const Unit** data) const = 0;
    virtual int32_t ReleaseReadLock() const = 0;
    /// 1 when the buffer can be written, else 0.
    virtual int16_t IsWritable() const = 0;
    /// Holds the buffer for writing with room for @p capacity units. The content is kept.
    /// @return 0, or result::NotImplemented with null in @p data for a read-only buffer
    virtual int32_t GetWriteLock(int32_t capacity, Unit** data) = 0;
    /// Makes room for @p capacity units without taking the lock. The storage may move.
    virtual int32_t EnsureCapacity(int32_t capacity, Unit** data) = 0;
    /// Ends writing; @p length becomes the length unless it is negative.
    virtual int32_t ReleaseWriteLock(int32_t length) = 0;
    /// Gives back room that the present length does not need.
    virtual int32_t FreeExtra() = 0;

protected:
    ~IBuffer() = default;
};

using IByteBuffer = IBuffer<signed char>;
using ICharBuffer = IBuffer<char16_t>;

} // namespace qx::util

/// Component interface of byte buffers.
class QX_INTERFACE IQXByteBuffer : public qx::util::IByteBuffer {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0xBD454BEB, 0xD847, 0x40F3, {0xAA, 0xBF, 0x30, 0x83, 0xAC, 0x2A, 0xC5, 0x4B}};

protected:
    ~IQXByteBuffer() = default;
};

/// Component interface of buffers of UTF-16 units.
class QX_INTERFACE IQXCharBuffer : public qx::util::ICharBuffer {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x1F2639A2, 0x1EBC, 0x4E20, {0x85, 0x60, 0x0A, 0xA5, 0x9F, 0x8A, 0xCB, 0x39}};

protected:
    ~IQXCharBuffer() = default;
};

namespace qx::util {

/// The component interface of buffers of @p Unit.
template <class Unit>
using ComponentBuffer =
    std::conditional_t<std::is_same_v<Unit, signed char>, IQXByteBuffer, IQXCharBuffer>;

} // namespace qx::util
