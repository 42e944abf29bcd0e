#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <qx/platform/export.h>

class IQXCharBuffer;

namespace qx {

/// Owned text: a counted block of UTF-16 units, header and units in one allocation. The units are
/// aligned to 16 bytes, because a large copy to memory with another alignment takes several times
/// as long.
class alignas(16) TextBlock {
public:
    /// A block of exactly @p capacity units with count 1.
    /// @throws std::bad_alloc
    static TextBlock* create(int32_t capacity) {
        const size_t size = sizeof(TextBlock) + static_cast<size_t>(capacity) * sizeof(char16_t);
        return ::new (::operator new(size)) TextBlock(capacity);
    }

    void addRef() noexcept { m_count.fetch_add(1, std::memory_order_relaxed); }
    void release() noexcept {
        if (isUnique() || m_count.fetch_sub(1, std::memory_order_acq_rel) == 1)
            ::operator delete(this);
    }
    /// True when the caller's reference is the only one. Nobody else can then take another.
    bool isUnique() const noexcept { return m_count.load(std::memory_order_acquire) == 1; }
    int32_t capacity() const noexcept { return m_capacity; }
    char16_t* units() noexcept { return reinterpret_cast<char16_t*>(this + 1); }

private:
    explicit TextBlock(int32_t capacity) noexcept : m_capacity(capacity) {}

    std::atomic<uint32_t> m_count{1};
    int32_t m_capacity;
};

/// Where the text of a String lies: in a block that copies share until one of them writes, in
/// memory that somebody else keeps (literals, wrapped units, the empty text), or in a foreign
/// character buffer.
///
/// Text in a block or in kept memory stays where it is while it is only read, so reading is two
/// loads. A foreign buffer may be changed by its other holders and is asked each time.
class TextStorage {
public:
    /// Changes the text wherever it lies, also in a foreign buffer.
    class Change;

    /// The empty text: static, usable at any time, not counted.
    constexpr TextStorage() noexcept : m_units(s_emptyText), m_length(0) {}
    /// Copies @p text into a block of its own with room for @p capacity units, its 0 unit among
    /// them. The empty text without room stays the static one.
    explicit TextStorage(std::u16string_view text, int32_t capacity = 0);
    /// A block for a text of @p length units, 0 to 2^31 - 16, which the caller has to write.
    static TextStorage ofLength(int32_t length) {
        TextStorage storage;
        storage.m_block = TextBlock::create((length + 16) & ~15);
        storage.m_units = storage.m_block->units();
        storage.commit(length);
        return storage;
    }
    /// Reads @p text where it is.
    static TextStorage wrapping(std::u16string_view text);
    /// References @p buffer, whose length counts the 0 unit behind its text.
    static TextStorage sharing(IQXCharBuffer* buffer);

    TextStorage(const TextStorage& other) noexcept
        : m_units(other.m_units), m_block(other.m_block), m_length(other.m_length) {
        if (m_block)
            m_block->addRef();
        else if (m_length < 0) [[unlikely]]
            addBufferRef();
    }
    TextStorage(TextStorage&& other) noexcept : TextStorage() { swap(other); }
    TextStorage& operator=(TextStorage other) noexcept {
        swap(other);
        return *this;
    }
    ~TextStorage() {
        if (m_block)
            m_block->release();
        else if (m_length < 0) [[unlikely]]
            releaseBuffer();
    }

    void swap(TextStorage& other) noexcept {
        std::swap(m_units, other.m_units);
        std::swap(m_block, other.m_block);
        std::swap(m_length, other.m_length);
    }

    const char16_t* data() const noexcept { return m_length >= 0 ? m_units : bufferText().data(); }
    int32_t length() const noexcept {
        return m_length >= 0 ? m_length : static_cast<int32_t>(bufferText().size());
    }
    std::u16string_view view() const noexcept { return m_length >= 0 ? ownView() : bufferText(); }

    bool isForeign() const noexcept { return m_length < 0; }
    /// True for a text in a block, which lives as long as anybody holds it.
    bool isOwned() const noexcept { return m_block != nullptr; }
    /// Holds a foreign buffer for reading; its units or those of the text.
    const char16_t* lockForReading() const { return m_length >= 0 ? m_units : lockBuffer(); }
    void unlockReading() const {
        if (m_length < 0) [[unlikely]]
            unlockBuffer();
    }

    /// True when @p capacity units can be written in place.
    bool isWritable(int32_t capacity) const noexcept {
        return m_block && m_block->capacity() >= capacity && m_block->isUnique();
    }
    /// The units of a text for which isWritable is true.
    char16_t* writable() noexcept { return m_block->units(); }
    /// Appends where that needs no new room and nobody shares the text; false when it does not.
    /// The units may lie in the text itself.
    bool tryAppend(const char16_t* units, size_t count) noexcept {
        const int32_t length = m_length;
        char16_t* const end = endWithRoom(length, count);
        if (!end)
            return false;
        std::char_traits<char16_t>::copy(end, units, count);
        end[count] = u'\0';
        m_length = length + static_cast<int32_t>(count);
        return true;
    }
    bool tryAppend(char16_t unit) noexcept {
        TextBlock* const block = m_block; // read once, as below
        const int32_t length = m_length;
        if (!block || block->capacity() - 1 <= length || !block->isUnique())
            return false;
        // One store where two would be what limits a loop of these.
        const uint32_t unitAndZero =
            std::endian::native == std::endian::little ? unit : uint32_t{unit} << 16;
        std::memcpy(block->units() + length, &unitAndZero, sizeof unitAndZero);
        m_length = length + 1;
        return true;
    }
    /// Makes the text, which is in no foreign buffer, private with room for @p capacity units, its
    /// 0 unit among them, and keeps its first @p kept units; the text must have that many. The
    /// caller writes and ends with commit.
    /// @throws std::bad_alloc; the storage is then unchanged
    char16_t* prepare(int32_t capacity, int32_t kept) {
        return isWritable(capacity) ? m_block->units() : moveToBlock(capacity, m_units, kept, kept);
    }
    /// Ends the text after @p length units, for which prepare has made room.
    void commit(int32_t length) {
        m_block->units()[length] = u'\0';
        m_length = length;
    }
    /// Makes room for @p capacity units that somebody writes outside the calls of this class.
    char16_t* lock(int32_t capacity);
    /// The same while such writing is under way. What was written is kept too, and a foreign buffer
    /// is not locked a second time.
    char16_t* grow(int32_t capacity);
    /// Ends such writing after @p length units, at the first 0 unit when it is negative.
    void unlock(int32_t length);

    /// Number of units that the storage has room for; when it does not own the text, the units of
    /// the text and its 0 unit.
    int32_t capacity() const noexcept {
        if (m_block)
            return m_block->capacity();
        const int32_t units = length();
        return units < std::numeric_limits<int32_t>::max() ? units + 1 : units;
    }
    /// Gives back room that the text does not need. A shared block stays.
    void shrink();

private:
    class Hold;

    /// The text where it is in no foreign buffer.
    std::u16string_view ownView() const noexcept {
        return {m_units, static_cast<size_t>(m_length)};
    }
    /// Where the text of @p length units ends, when @p count more fit there and nobody shares it.
    char16_t* endWithRoom(int32_t length, size_t count) const noexcept {
        // Read once: the compiler has to read members again behind the look at the count.
        TextBlock* const block = m_block;
        const bool fits = block && static_cast<size_t>(block->capacity() - length) > count;
        return fits && block->isUnique() ? block->units() + length : nullptr;
    }
    QX_API std::u16string_view bufferText() const noexcept;
    QX_API void addBufferRef() const noexcept;
    QX_API void releaseBuffer() noexcept;
    QX_API const char16_t* lockBuffer() const;
    QX_API void unlockBuffer() const;
    bool isBufferWritable() const;
    void endWriting(char16_t* units, int32_t length);
    char16_t* keepAll(int32_t capacity);
    char16_t* moveToBlock(int32_t capacity, const char16_t* units, int32_t kept, int32_t length);

    /// Lies in the library, so that it outlives the module that a text comes from.
    QX_API static const char16_t s_emptyText[1];

    /// The units, or the foreign buffer when the length is negative.
    union {
        const char16_t* m_units;
        IQXCharBuffer* m_buffer;
    };
    TextBlock* m_block = nullptr;
    int32_t m_length;
};

} // namespace qx
