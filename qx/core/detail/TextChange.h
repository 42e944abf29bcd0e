#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <qx/core/TextStorage.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/UnitSearch.h>

namespace qx {

namespace detail {

/// True when @p text begins among the units of @p own.
inline bool beginsIn(std::u16string_view text, std::u16string_view own) noexcept {
    const std::less<const char16_t*> before;
    return !before(text.data(), own.data()) && before(text.data(), own.data() + own.size());
}

} // namespace detail

/// A foreign buffer while its text is changed, so that nobody else changes it or sees what is half
/// done. It is held for writing when the storage alone holds it and it can be written, otherwise
/// for reading until the new text lies in a block. Without commit it keeps its text.
class TextStorage::Hold {
public:
    /// @throws ResultException when the buffer cannot be held for @p capacity units
    Hold(TextStorage& text, int32_t capacity);
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    bool isForWriting() const noexcept { return m_isForWriting; }
    /// The text before the change.
    std::u16string_view view() const noexcept { return m_view; }
    /// The same as @p text until the end of the change, also where it lies in the text, or lay
    /// there before the buffer was held, which may have moved it.
    std::u16string_view keep(std::u16string_view text);
    /// Room for @p capacity units in a buffer that is held for writing.
    /// @throws ResultException when it has none; it then stays as it was
    char16_t* room(int32_t capacity);
    /// Ends the text after @p length units, for which there is room.
    /// @throws ResultException when the buffer fails
    void commit(int32_t length);
    /// Leaves a buffer that is held for writing so.
    char16_t* leaveLocked() noexcept;

private:
    std::u16string_view textOf(const char16_t* units) const;

    TextStorage& m_text;
    IQXCharBuffer* m_buffer;      // null once it is let go
    std::u16string_view m_first;  // where the text was before the buffer was held at all
    std::u16string_view m_before; // and before it was held for writing
    std::u16string_view m_view;
    TextStorage m_copy;
    int32_t m_room = 0;
    bool m_isForWriting;
};

/// A change of a text, wherever it lies, from the first look at the old text to the end of the new.
/// Nothing here gives out the address of the change, which can thus be kept in registers.
class TextStorage::Change {
public:
    /// @throws ResultException when a foreign buffer cannot be held
    explicit Change(TextStorage& text)
        : m_text(text), m_hold(text.isForeign() ? hold(text) : nullptr) {}
    ~Change() {
        if (m_own) [[unlikely]]
            m_own->release();
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    /// The text before the change. Valid until prepare.
    std::u16string_view view() const noexcept { return m_hold ? m_hold->view() : m_text.ownView(); }
    int32_t length() const noexcept { return static_cast<int32_t>(view().size()); }
    /// Keeps @p text, which may lie in the text that is changed, until the end of the change.
    /// @return where it can be read until then
    /// @throws std::bad_alloc
    std::u16string_view keep(std::u16string_view text) {
        if (m_hold) [[unlikely]]
            return m_hold->keep(text);
        if (m_text.m_block && !m_own && detail::beginsIn(text, view())) {
            m_own = m_text.m_block; // a second reference: the change then goes to a new block
            m_own->addRef();
        }
        return text;
    }
    /// Finds @p text, which is only read before prepare, where a foreign buffer has moved it.
    std::u16string_view found(std::u16string_view text) {
        return m_hold ? m_hold->keep(text) : text;
    }

    /// True when @p capacity units can be written where the text lies.
    bool isWritable(int32_t capacity) const noexcept {
        return m_hold ? m_hold->isForWriting() : m_text.isWritable(capacity);
    }
    /// Private room for @p capacity units, the 0 unit among them, with the first @p kept units of
    /// the text. A block at least doubles when it grows.
    /// @throws std::bad_alloc, ResultException of a foreign buffer; the text is then unchanged
    char16_t* prepare(int32_t capacity, int32_t kept) {
        return m_text.isWritable(capacity) ? m_text.writable()
                                           : prepareSlow(m_text, m_hold.get(), capacity, kept);
    }
    /// Where units are to be written, and the length of the text with them.
    struct Room {
        char16_t* units;
        int32_t length;
    };
    /// Private units of the text, whose length stays.
    /// @throws what prepare throws
    Room prepareAll() {
        const int32_t present = length();
        return {prepare(detail::checkedSize(int64_t{present} + 1), present), present};
    }
    /// Puts @p inserted units, still to be written, in the place of @p count at @p position.
    /// @throws what prepare throws
    Room openGap(int32_t position, int32_t count, int32_t inserted) {
        const int32_t present = length();
        const int32_t from = detail::limited(position, present);
        const int32_t removed = detail::limited(count, present - from);
        const int32_t tail = present - from - removed;
        const int32_t needed = detail::checkedSize(int64_t{from} + inserted + tail + 1);
        char16_t* units;
        if (m_text.isWritable(needed)) {
            units = m_text.writable();
        } else if (inserted < removed && !isWritable(needed)) {
            cut(m_text, view(), from, removed, inserted);
            return {m_text.writable() + from, needed - 1};
        } else {
            units = prepareSlow(m_text, m_hold.get(), needed, present);
        }
        if (inserted != removed)
            std::char_traits<char16_t>::move(units + from + inserted, units + from + removed,
                                             detail::sizeOf(tail));
        return {units + from, needed - 1};
    }
    /// Ends the text after @p length units, for which there is room, and the change.
    /// @throws ResultException of a foreign buffer
    void commit(int32_t length) {
        if (m_hold) [[unlikely]]
            m_hold->commit(length);
        else
            m_text.commit(length);
    }

private:
    static Hold* hold(TextStorage& text);
    static char16_t* prepareSlow(TextStorage& text, Hold* hold, int32_t capacity, int32_t kept);
    static void cut(TextStorage& storage, std::u16string_view text, int32_t from, int32_t removed,
                    int32_t inserted);

    TextStorage& m_text;
    const std::unique_ptr<Hold> m_hold;
    TextBlock* m_own = nullptr;
};

} // namespace qx
