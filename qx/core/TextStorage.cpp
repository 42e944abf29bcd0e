#include "qx/core/TextStorage.h"

#include <algorithm>
#include <bit>
#include <utility>

#include <qx/core/Result.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/TextChange.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/util/buffer/IBuffer.h>

namespace qx {

using detail::adjustedCapacity;
using detail::checkedSize;
using detail::sizeOf;

namespace {

/// A multiple of 16 below 2 Gi units, where doubling ends.
constexpr int64_t LargestCapacity = 0x7FFFFFF0;

/// The units that a foreign buffer has given with @p code.
/// @throws ResultException when it has failed; result::NullPointer when there are none
char16_t* given(int32_t code, const char16_t* units) {
    throwIfFailed(code);
    if (!units)
        throwResult(result::NullPointer, u"a buffer without units");
    return const_cast<char16_t*>(units);
}

/// Holds a foreign buffer with room for @p capacity units for writing.
/// @throws ResultException like given
char16_t* lockedForWriting(IQXCharBuffer& buffer, int32_t capacity) {
    char16_t* units = nullptr;
    const int32_t code = buffer.GetWriteLock(capacity, &units);
    if (code >= 0 && !units)
        buffer.ReleaseWriteLock(-1);
    return given(code, units);
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
    if (!isForeign())
        return moveToBlock(capacity, m_units, m_length, m_length);
    Hold hold(*this, capacity);
    if (hold.isForWriting())
        return hold.leaveLocked();
    const std::u16string_view text = hold.view();
    return moveToBlock(capacity, text.data(), detail::lengthOf(text), detail::lengthOf(text));
}

char16_t* TextStorage::grow(int32_t capacity) {
    if (m_block)
        return isWritable(capacity) ? writable() : keepAll(capacity);
    return m_length >= 0 || !isBufferWritable() ? lock(capacity) : roomIn(*m_buffer, capacity);
}

/// Moves all units of the block, beyond the text too. When the block is shared, a copy may have
/// been taken since they were written.
char16_t* TextStorage::keepAll(int32_t capacity) {
    return moveToBlock(capacity, m_units, m_block->capacity(), m_length);
}

void TextStorage::unlock(int32_t length) {
    if (m_length < 0) {
        char16_t* const units = roomOrEnd(*m_buffer, int64_t{std::max(length, 0)} + 1);
        endWriting(units,
                   length < 0 ? static_cast<int32_t>(std::u16string_view(units).size()) : length);
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

/// Writes the 0 unit behind the first @p length of the units of the foreign buffer and ends
/// writing.
void TextStorage::endWriting(char16_t* units, int32_t length) {
    units[length] = u'\0';
    throwIfFailed(m_buffer->ReleaseWriteLock(length + 1));
}

/// True when nobody else holds the foreign buffer and it can be written.
bool TextStorage::isBufferWritable() const {
    m_buffer->AddRef();
    return m_buffer->Release() == 1 && m_buffer->IsWritable() != 0;
}

/// Makes a new block, for @p capacity units and what is kept, with the first @p kept of @p units
/// the storage of a text of @p length units, whose 0 unit is among them unless all of that is text.
char16_t* TextStorage::moveToBlock(int32_t capacity, const char16_t* units, int32_t kept,
                                   int32_t length) {
    const int64_t needed = int64_t{kept} + (kept == length ? 1 : 0);
    TextBlock* const block =
        TextBlock::create(adjustedCapacity(std::max(int64_t{capacity}, needed)));
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

TextStorage::Hold::Hold(TextStorage& text, int32_t capacity)
    : m_text(text), m_buffer(text.m_buffer), m_first(text.bufferText()),
      m_isForWriting(text.isBufferWritable()) {
    const char16_t* units = text.lockBuffer();
    m_view = m_before = textOf(units);
    if (m_isForWriting) {
        // A buffer may lend no more than it is asked for. How much it has is certain only when it
        // is held: another thread may write until then.
        m_room = std::max(capacity, static_cast<int32_t>(m_view.size()) + 1);
        text.unlockBuffer();
        units = lockedForWriting(*m_buffer, m_room);
        if (const int32_t present = m_buffer->GetLength(); present > m_room) {
            units = roomOrEnd(*m_buffer, present);
            m_room = present;
        }
        m_view = textOf(units);
    }
    m_buffer->AddRef();
}

/// The text at @p units of the buffer, which is held: all but its 0 unit.
std::u16string_view TextStorage::Hold::textOf(const char16_t* units) const {
    const int32_t length = std::max(m_buffer->GetLength() - 1, 0);
    return {units, units ? sizeOf(length) : 0};
}

TextStorage::Hold::~Hold() {
    if (!m_buffer)
        return;
    if (m_isForWriting)
        m_buffer->ReleaseWriteLock(-1);
    else
        m_buffer->ReleaseReadLock();
    m_buffer->Release();
}

std::u16string_view TextStorage::Hold::keep(std::u16string_view text) {
    for (const std::u16string_view place : {m_first, m_before, m_view}) {
        if (!detail::beginsIn(text, place))
            continue;
        if (!m_copy.isOwned())
            m_copy = TextStorage(m_view);
        // Up to the 0 unit: the argument may be older than a change that another thread has made.
        const std::u16string_view all(m_copy.data(), m_view.size() + 1);
        const auto position = static_cast<size_t>(text.data() - place.data());
        return all.substr(std::min(position, all.size()), text.size());
    }
    return text;
}

char16_t* TextStorage::Hold::room(int32_t capacity) {
    if (capacity > m_room) {
        // A buffer does not tell what it has room for: the step must not depend on what is there.
        const uint32_t step = std::bit_ceil(static_cast<uint32_t>(capacity));
        char16_t* units = nullptr;
        if (step > LargestCapacity ||
            m_buffer->EnsureCapacity(static_cast<int32_t>(step), &units) < 0 || !units)
            units = roomIn(*m_buffer, capacity);
        m_view = std::u16string_view(units, m_view.size());
        m_room = capacity;
    }
    return const_cast<char16_t*>(m_view.data());
}

void TextStorage::Hold::commit(int32_t length) {
    if (m_isForWriting)
        m_text.endWriting(leaveLocked(), length);
    else
        m_text.commit(length);
}

char16_t* TextStorage::Hold::leaveLocked() noexcept {
    std::exchange(m_buffer, nullptr)->Release();
    return const_cast<char16_t*>(m_view.data());
}

TextStorage::Hold* TextStorage::Change::hold(TextStorage& text) { return new Hold(text, 0); }

char16_t* TextStorage::Change::prepareSlow(TextStorage& text, Hold* hold, int32_t capacity,
                                           int32_t kept) {
    if (hold && hold->isForWriting())
        return hold->room(capacity);
    // What grows once usually grows on: the small sizes are passed in larger steps.
    const int64_t present = text.capacity();
    const int64_t larger = (present < 128 ? 4 : 2) * present;
    const int64_t grown = capacity > present ? std::min(larger, LargestCapacity) : 0;
    return text.moveToBlock(std::max(capacity, static_cast<int32_t>(grown)),
                            hold ? hold->view().data() : text.m_units, kept, kept);
}

/// Makes a copy of @p text with @p inserted units, still to be written, in the place of @p removed
/// ones at @p from the storage. What is removed may be most of a text and is not copied.
void TextStorage::Change::cut(TextStorage& storage, std::u16string_view text, int32_t from,
                              int32_t removed, int32_t inserted) {
    const auto tail = text.substr(sizeOf(from) + sizeOf(removed));
    const int32_t length = from + inserted + detail::lengthOf(tail);
    TextStorage rest({}, length + 1);
    std::char_traits<char16_t>::copy(rest.writable(), text.data(), sizeOf(from));
    std::char_traits<char16_t>::copy(rest.writable() + from + inserted, tail.data(), tail.size());
    rest.commit(length);
    storage.swap(rest);
}

} // namespace qx
