#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/platform/export.h>

namespace qx {

/// Counted buffer of UTF-16 units that light strings share. The count is not atomic: a buffer and
/// the strings on it belong to one thread.
class QX_API StrBuf1 {
public:
    /// Most units that a buffer can hold.
    static constexpr int32_t MaxCapacity = 0xFFFFFF;

    /// A buffer with room for at least @p capacity units, rounded up to a multiple of 16, header
    /// and units in one block; count 0.
    /// @throws std::bad_alloc also for more than MaxCapacity
    static StrBuf1* create(int32_t capacity);

    /// Over memory that somebody else keeps. @p capacity 0 makes it one that is never written.
    StrBuf1(char16_t* data, int32_t capacity) noexcept;
    virtual ~StrBuf1();
    StrBuf1(const StrBuf1&) = delete;
    StrBuf1& operator=(const StrBuf1&) = delete;

    void AddRef() noexcept { ++m_count; }
    /// The last one destroys the buffer.
    void Release() noexcept {
        if (--m_count == 0)
            delete this;
    }

    char16_t* getData() const noexcept { return m_data; }
    int32_t getBufCapacity() const noexcept { return static_cast<int32_t>(m_capacity); }
    /// Marks a buffer that is no heap block of its own and takes a reference that is never
    /// released. @p isShared lets any number of holders write.
    void initStaticInstance(bool isShared) noexcept;
    /// The capacity when its holder may write to the buffer, else 0. A static instance has its own
    /// reference beside that of its one holder; @p isUnused asks that there be no holder at all.
    int32_t isPrivatelyHeld(bool isUnused) const noexcept;

    /// The one for the other, so that compilers see a pair.
    static void* operator new(std::size_t size);
    /// Unsized: a buffer may be followed by its units.
    static void operator delete(void* block) noexcept;

private:
    char16_t* m_data;
    uint32_t m_count = 0;
    uint32_t m_capacity : 24;
    uint32_t m_isStatic : 1;
    uint32_t m_isShared : 1;
};

/// Buffer on the heap over units that it does not free.
class QX_API StrBuf1Wrap : public StrBuf1 {
public:
    using StrBuf1::StrBuf1;
};

/// Buffer over a constant text: never written, never freed by its holders.
class QX_API StrBuf1Static : public StrBuf1 {
public:
    explicit StrBuf1Static(const char16_t* data) noexcept
        : StrBuf1(const_cast<char16_t*>(data), 0) {
        initStaticInstance(false);
    }
};

} // namespace qx
