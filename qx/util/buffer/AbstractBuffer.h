#pragma once

#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/platform/export.h>
#include <qx/util/buffer/IBuffer.h>

namespace qx::util {

/// A buffer as an object: every interface method calls the operation of the same name and turns
/// what it throws into a result code.
template <class Unit>
class QX_API AbstractBuffer : public qx::pcom::Implements<Object, ComponentBuffer<Unit>> {
public:
    // Not defaulted: initialisation with () would then zero the whole object first.
    AbstractBuffer() noexcept {}

    virtual int32_t getLength() const = 0;
    virtual const Unit* getData() const = 0;
    virtual const Unit* getReadLock() const = 0;
    virtual void releaseReadLock() const = 0;
    virtual bool isWritable() const = 0;
    /// Holds the buffer for writing, with room for @p capacity units.
    virtual Unit* getWriteLock(int32_t capacity) = 0;
    virtual Unit* ensureCapacity(int32_t capacity) = 0;
    virtual void releaseWriteLock(int32_t length) = 0;
    virtual void freeExtra() = 0;

    bool isEmpty() const { return getLength() == 0; }

    int32_t GetLength() const override { return getLength(); }
    const Unit* GetData() const override { return getData(); }
    int32_t GetReadLock(const Unit** data) const override;
    int32_t ReleaseReadLock() const override;
    int16_t IsWritable() const override { return isWritable() ? 1 : 0; }
    int32_t GetWriteLock(int32_t capacity, Unit** data) override;
    int32_t EnsureCapacity(int32_t capacity, Unit** data) override;
    int32_t ReleaseWriteLock(int32_t length) override;
    int32_t FreeExtra() override;
};

extern template class AbstractBuffer<signed char>;
extern template class AbstractBuffer<char16_t>;

using AbstractByteBuffer = AbstractBuffer<signed char>;
using AbstractCharBuffer = AbstractBuffer<char16_t>;

} // namespace qx::util

using CQXAbstractByteBuffer = qx::util::AbstractByteBuffer;
using CQXAbstractCharBuffer = qx::util::AbstractCharBuffer;
