#include "qx/log/BasicLogWriter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>

#include <qx/core/String.h>
#include <qx/log/detail/FieldSource.h>
#include <qx/log/detail/FieldWalk.h>

namespace qx::log {

namespace {

constexpr std::u16string_view Separator = u"-------------------------\n";

/// Appends many short texts to a String, whose memory it locks for as long as it lives: a call of
/// the String for each text would take longer than the copying. Nobody may use the String
/// meanwhile.
class TextAppender {
public:
    explicit TextAppender(String& text)
        : m_text(text), m_length(text.getLength()),
          m_capacity(std::max(text.getLength(), FirstCapacity)),
          m_units(text.getWriteLock(m_capacity)) {}
    ~TextAppender() { m_text.releaseWriteLock(m_length); }
    TextAppender(const TextAppender&) = delete;
    TextAppender& operator=(const TextAppender&) = delete;

    /// @throws std::bad_alloc
    TextAppender& append(std::u16string_view text) {
        if (text.size() > static_cast<size_t>(m_capacity - m_length)) [[unlikely]]
            grow(text.size());
        copy(text.data(), text.size(), m_units + m_length);
        m_length += static_cast<int32_t>(text.size());
        return *this;
    }
    TextAppender& append(char16_t unit) { return append({&unit, 1}); }

private:
    static constexpr int32_t FirstCapacity = 500;
    static constexpr int32_t MostUnits = std::numeric_limits<int32_t>::max() - 64;

    static void copy(const char16_t* from, size_t count, char16_t* to) noexcept {
        if (count >= 8) {
            // Vectors, of which the last two may overlap.
            for (size_t i = 0; i + 8 < count; i += 8)
                std::memcpy(to + i, from + i, 16);
            std::memcpy(to + count - 8, from + count - 8, 16);
        } else {
            for (size_t i = 0; i < count; ++i)
                to[i] = from[i];
        }
    }

    void grow(size_t count) {
        const int64_t least = int64_t{m_length} + static_cast<int64_t>(count);
        if (count > static_cast<size_t>(MostUnits) || least > MostUnits)
            throw std::bad_alloc();
        const auto capacity = static_cast<int32_t>(
            std::min<int64_t>(std::max(least, 2 * int64_t{m_capacity}), MostUnits));
        m_units = m_text.ensureCapacity(capacity);
        m_capacity = capacity;
    }

    String& m_text;
    int32_t m_length;
    int32_t m_capacity;
    char16_t* m_units;
};

} // namespace

Reference<ILogProcessor> BasicLogWriter::create(io::Writer* writer) {
    const Reference<BasicLogWriter> created(new BasicLogWriter(writer));
    created->encodeBy(&BasicLogWriter::encode);
    return created;
}

String BasicLogWriter::format(const ILogEntry* entry) {
    String text = takeText();
    {
        TextAppender lines(text);
        detail::forEachText(*entry, [&lines](std::u16string_view name, std::u16string_view value) {
            lines.append(name).append(u'=').append(value).append(u'\n');
        });
        lines.append(Separator);
    }
    return text;
}

void BasicLogWriter::encode(const AbstractLogWriter& /*self*/, const detail::FieldSource& fields,
                            detail::Utf8Text& text) {
    FieldText room;
    fields.forEachField(text, [&](std::u16string_view name, const FieldValue& value) {
        text.append(name).append(u'=').append(value, room).append(u'\n');
    });
    text.append(Separator);
}

} // namespace qx::log
