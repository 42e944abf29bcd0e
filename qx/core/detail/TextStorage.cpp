#include "qx/core/detail/TextStorage.h"

#include <algorithm>
#include <new>

#include <qx/core/Result.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/util/IBuffer.h>

namespace qx::detail {

TextBlock* TextBlock::create(int32_t capacity) {
    const size_t size = sizeof(TextBlock) + static_cast<size_t>(capacity) * sizeof(char16_t);
    return ::new (::operator new(size)) TextBlock(capacity);
}

void TextBlock::destroy() noexcept { ::operator delete(this); }

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

std::u16string_view TextStorage::bufferText() const noexcept {
    const int32_t length = m_buffer->GetLength() - 1;
    const char16_t* const units = m_buffer->GetData();
    return units && length > 0 ? std::u16string_view(units, static_cast<size_t>(length))
                               : std::u16string_view(u"");
}

void TextStorage::addBufferRef() const noexcept { m_buffer->AddRef(); }

void TextStorage::releaseBuffer() noexcept { m_buffer->Release(); }

char16_t* TextStorage::prepareSlow(int32_t capacity, int32_t kept) {
    if (m_length < 0) {
        if (char16_t* const units = prepareBuffer(capacity))
            return units;
    }
    return moveTo(adjustedCapacity(capacity), view().substr(0, static_cast<size_t>(kept)));
}

char16_t* TextStorage::prepareExactly(int32_t capacity) {
    if (isWritable(capacity))
        return m_block->units();
    if (!m_block)
        return prepareSlow(std::max(capacity, length() + 1), length());
    const int32_t length = m_length;
    const auto stored = static_cast<size_t>(m_block->capacity());
    TextBlock* const block =
        TextBlock::create(adjustedCapacity(std::max(capacity, m_block->capacity())));
    std::char_traits<char16_t>::copy(block->units(), m_block->units(), stored);
    m_block->release();
    m_block = block;
    m_units = block->units();
    m_length = length;
    return block->units();
}

/// Room in the foreign buffer itself, or null when others hold it or it cannot be written.
char16_t* TextStorage::prepareBuffer(int32_t capacity) {
    m_buffer->AddRef();
    if (m_buffer->Release() != 1 || m_buffer->IsWritable() == 0)
        return nullptr;
    char16_t* units = nullptr;
    throwIfFailed(m_buffer->GetWriteLock(capacity, &units));
    return units;
}

void TextStorage::commitBuffer(int32_t length) {
    char16_t* units = nullptr;
    throwIfFailed(m_buffer->EnsureCapacity(length + 1, &units));
    units[length] = u'\0';
    throwIfFailed(m_buffer->ReleaseWriteLock(length + 1));
}

char16_t* TextStorage::moveTo(int32_t capacity, std::u16string_view kept) {
    TextBlock* const block = TextBlock::create(capacity);
    char16_t* const units = block->units();
    std::char_traits<char16_t>::copy(units, kept.data(), kept.size());
    units[kept.size()] = u'\0';
    TextStorage moved;
    moved.m_block = block;
    moved.m_units = units;
    moved.m_length = static_cast<int32_t>(kept.size());
    swap(moved);
    return units;
}

void TextStorage::shrink() {
    if (!m_block || !m_block->isUnique())
        return;
    if (const int32_t needed = adjustedCapacity(m_length + 1); needed < m_block->capacity())
        moveTo(needed, view());
}

} // namespace qx::detail
