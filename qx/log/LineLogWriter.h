#pragma once

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/OutputStream.h>
#include <qx/log/AbstractLogWriter.h>
#include <qx/platform/export.h>
#include <qx/platform/time.h>

namespace qx::log {

/// Writes every entry as one line: time, level, name, thread, any further fields, and the text
/// behind "|". Parts are separated by one blank.
///
///     2024-01-31T23:59:58.007+01:00 WARNING network 4711 peer=10.1.2.3 | 3 of 4 disks are full
///
/// The time is the field "timestamp", a local time, with the distance of the zone of the process
/// from UTC; for an entry without one, the time of writing. Levels are shown by the names of Level
/// where they have one. What else an entry lacks is "-". Further fields stand in the order of the
/// entry's set of names.
///
/// No entry looks like two or like another. A backslash is doubled; a line feed, a carriage return
/// and a tab become a backslash and "n", "r" or "t". Other units that are no text (controls, line
/// separators, lone surrogates, what turns the direction of text) become a backslash, "u" and four
/// hexadecimal digits, and so do, in front of "|", blanks and the "=" of names.
class QX_API LineLogWriter final : public AbstractLogWriter {
public:
    /// @param writer  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    static Reference<ILogProcessor> create(io::Writer* writer);
    /// Writes to a stream, such as a LogFile, in UTF-8.
    static Reference<ILogProcessor> create(io::OutputStream* out);

protected:
    String format(const ILogEntry* entry) override;

private:
    /// "2024-01-31T23:59:58.007+01:00", for years of more digits than four as well.
    struct Stamp {
        STRUCT_QX_TIME time{};
        char16_t units[31];
        size_t length = 0;
        size_t milliseconds = 0; ///< where they stand
        bool isKept = false;     ///< for more entries of that time
    };
    template <class Text>
    struct Line;

    static void encode(const AbstractLogWriter& self, const detail::FieldSource& fields,
                       detail::Utf8Text& text);

    using AbstractLogWriter::AbstractLogWriter;

    std::u16string_view stampOf(STRUCT_QX_TIME time) const;

    mutable Stamp m_stamp; // of the last entry; used by one thread at a time, as format is
};

} // namespace qx::log
