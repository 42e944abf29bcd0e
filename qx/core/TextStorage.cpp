#include "qx/core/TextStorage.h"

#include <algorithm>

#include <qx/core/Result.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/util/buffer/IBuffer.h>

namespace qx {

using detail::adjustedCapacity;
using detail::checkedSize;
using detail::sizeOf;

namespace {

/// The units that a foreign buffer has given with @p code.
/// @throws ResultException when it has failed; result::NullPointer when there are none
char16_t* given(int32_t code, const char16_t* units) {
    throwIfFailed(code);
    if (!units)
        throwResult(result::NullPointer, u"a buffer without units");
    return const_cast<char16_t*>(units);
}

/// Room for @p capacity units in a foreign buffer that is held for writing.
/// @throws ResultException like given
char16_t* roomIn(IQXCharBuffer& buffer, int32_t capacity) {
    char16_t* units = nullptr;
    const int32_t code = buffer.EnsureCapacity(capacity, &units);
    return given(code, units);
}

/// The same, which ends the hold when there is none.
char16_t* roomOrEnd(IQXCharBuffer& buffer, int64_t capacity) {
    try {
        return roomIn(buffer, checkedSize(capacity));
    } catch (...) {
        buffer.ReleaseWriteLock(-1);
        throw;
    }
}

/// Keeps a foreign buffer alive, and held for reading, while the storage goes on to a block.
struct ReadHold {
    explicit ReadHold(const TextStorage& text) : storage(text), units(storage.lockForReading()) {}
    ~ReadHold() {
        resultOf([this] { storage.unlockReading(); });
    }
    ReadHold(const ReadHold&) = delete;
    ReadHold& operator=(const ReadHold&) = delete;

    const TextStorage storage;
    const char16_t* const units;
};

} // namespace

constinit const char16_t TextStorage::s_emptyText[1] = {};

TextStorage::TextStorage(std::u16string_view text, int32_t capacity) : TextStorage() {
    if (text.empty() && capacity < 1)
        return;
    const auto length = checkedSize(static_cast<int64_t>(text.size()));
    m_block = TextBlock::create(adjustedCapacity(std::max(int64_t{capacity}, int64_t{length} + 1)));
    char16_t* const units = m_block->units();
    std::char_traits<char16_t>::copy(units, text.data(), text.size());
    units[text.size()] = u'\0';
    m_units = units;
    m_length = length;
}

TextStorage TextStorage::wrapping(std::u16string_view text) {
    TextStorage storage;
    if (!text.empty()) {
        storage.m_length = checkedSize(static_cast<int64_t>(text.size()));
        storage.m_units = text.data();
    }
    return storage;
}

TextStorage TextStorage::sharing(IQXCharBuffer* buffer) {
    TextStorage storage;
    buffer->AddRef();
    storage.m_buffer = buffer;
    storage.m_length = -1;
    return storage;
}

char16_t* TextStorage::lock(int32_t capacity) {
    if (isWritable(capacity))
        return writable();
    if (m_block && m_block->isUnique()) // may hold units that were written under another lock
        return keepAll(capacity);
    return prepareSlow(std::max(capacity, checkedSize(int64_t{length()} + 1)), length());
}

char16_t* TextStorage::grow(int32_t capacity) {
    if (m_block)
        return isWritable(capacity) ? writable() : keepAll(capacity);
    return m_length >= 0 || !isBufferWritable() ? lock(capacity) : roomIn(*m_buffer, capacity);
}

/// Moves all units of the block, beyond the text too. When the block is shared, a copy may have
/// been taken since they were written.
char16_t* TextStorage::keepAll(int32_t capacity) {
    return moveToBlock(adjustedCapacity(std::max(capacity, m_block->capacity())), m_units,
                       m_block->capacity(), m_length);
}

void TextStorage::unlock(int32_t length) {
    if (m_length < 0) {
        char16_t* const units = roomOrEnd(*m_buffer, int64_t{std::max(length, 0)} + 1);
        commitBuffer(length < 0 ? static_cast<int32_t>(std::u16string_view(units).size()) : length);
        return;
    }
    const char16_t* const units = grow(checkedSize(int64_t{std::max(length, 0)} + 1));
    if (length < 0) {
        const char16_t* const last = units + capacity() - 1;
        length = static_cast<int32_t>(std::find(units, last, u'\0') - units);
    }
    commit(length);
}

void TextStorage::shrink() {
    if (!isWritable(0))
        return;
    if (const int32_t needed = adjustedCapacity(m_length + 1); needed < m_block->capacity())
        moveToBlock(needed, m_units, m_length, m_length);
}

std::u16string_view TextStorage::bufferText() const noexcept {
    const int32_t length = m_buffer->GetLength() - 1;
    const char16_t* const units = m_buffer->GetData();
    return units && length > 0 ? std::u16string_view(units, sizeOf(length))
                               : std::u16string_view(s_emptyText, 0);
}

void TextStorage::addBufferRef() const noexcept { m_buffer->AddRef(); }

void TextStorage::releaseBuffer() noexcept { m_buffer->Release(); }

const char16_t* TextStorage::lockBuffer() const {
    const char16_t* units = nullptr;
    throwIfFailed(m_buffer->GetReadLock(&units));
    if (!units && length() > 0) {
        m_buffer->ReleaseReadLock();
        throwResult(result::NullPointer, u"a buffer without units");
    }
    return units;
}

void TextStorage::unlockBuffer() const { throwIfFailed(m_buffer->ReleaseReadLock()); }

char16_t* TextStorage::prepareSlow(int32_t capacity, int32_t kept) {
    if (m_length < 0 && isBufferWritable()) {
        char16_t* units = nullptr;
        const int32_t code = m_buffer->GetWriteLock(capacity, &units);
        if (code >= 0 && !units)
            m_buffer->ReleaseWriteLock(-1);
        return given(code, units);
    }
    const int32_t needed = adjustedCapacity(std::max(int64_t{capacity}, int64_t{kept} + 1));
    if (m_length >= 0)
        return moveToBlock(needed, m_units, kept, kept);
    const ReadHold source(*this);
    return moveToBlock(needed, source.units, kept, kept);
}

/// Writes the 0 unit behind @p length units of the foreign buffer and ends writing.
void TextStorage::commitBuffer(int32_t length) {
    const int32_t stored = checkedSize(int64_t{length} + 1);
    roomOrEnd(*m_buffer, stored)[length] = u'\0';
    throwIfFailed(m_buffer->ReleaseWriteLock(stored));
}

/// True when nobody else holds the foreign buffer and it can be written.
bool TextStorage::isBufferWritable() const {
    m_buffer->AddRef();
    return m_buffer->Release() == 1 && m_buffer->IsWritable() != 0;
}

/// Makes a new block with the first @p kept of @p units the storage of a text of @p length units,
/// whose 0 unit is among what is kept unless all of that is text.
char16_t* TextStorage::moveToBlock(int32_t capacity, const char16_t* units, int32_t kept,
                                   int32_t length) {
    TextBlock* const block = TextBlock::create(capacity);
    std::char_traits<char16_t>::copy(block->units(), units, sizeOf(kept));
    TextStorage moved;
    moved.m_block = block;
    moved.m_units = block->units();
    moved.m_length = length;
    if (kept == length)
        block->units()[length] = u'\0';
    swap(moved);
    return writable();
}

} // namespace qx
