#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/StringMapBundle.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// The messages that programs show or log in one locale, with keys, read from UTF-8 text.
///
///     # A comment. Lines that contain only blanks are skipped as well.
///     file.open    = Cannot open {0}: {1}
///     prompt       = Name:\u0020
///
/// A line holds one message: key, "=", text. Blanks (spaces and tabs) around key and text are
/// ignored. A "\" in either begins an escape:
///
/// | Escape | Stands for |
/// |---|---|
/// | `\n` `\r` `\t` | line feed, carriage return, tab |
/// | `\\` `\=` `\#` | the character itself, so that a key may contain "=" and begin with "#" |
/// | "\" and a space | a space that is kept at either end |
/// | `\uXXXX` | the UTF-16 unit with these four hexadecimal digits; two escapes make a pair |
/// | "\" and the line's end | nothing: the message continues in the next line, after its blanks |
///
/// Lines end with a line feed, or with a carriage return and a line feed; a byte order mark at the
/// start is skipped. An empty text counts as none, so that a key can be entered before its text is
/// translated. Mistakes are: bytes that are not UTF-8, control characters other than the tab, other
/// escapes, half a pair, U+0000, a line without "=" or without a key, a key that occurs twice, and
/// a
/// "\" at the end of the last line.
class QX_API MessageFile {
public:
    struct Message {
        String key;
        String text;
        int32_t line; ///< where it begins, counted from 1
    };
    struct Mistake {
        int32_t line;
        String reason; ///< without the line's number, as in `no "="`
    };

    /// The largest file in bytes.
    static constexpr int32_t LargestFile = 1 << 24;
    /// Reading ends after this number of mistakes.
    static constexpr int32_t MostMistakes = 100;

    /// Reads the text of a file, even when it contains mistakes. Takes linear time.
    explicit MessageFile(std::string_view bytes);
    /// Reads a file. To make sure that its content belongs to one moment, replace a file that
    /// programs may be reading as a whole (QXFileReplace, or a rename).
    /// @throws ResultException with the platform's code: result::NotFound, result::FileTooLarge for
    ///     more than LargestFile bytes, result::Busy for a file that does not stop changing
    static MessageFile read(const String& path);

    /// The messages that contain no mistake, in the order of the file.
    const std::vector<Message>& messages() const noexcept { return m_messages; }
    /// The mistakes in the order of the file; empty for a correct one.
    const std::vector<Mistake>& mistakes() const noexcept { return m_mistakes; }

    /// A bundle of the messages.
    /// @param locale  kept by a reference; null for none
    /// @throws ResultException with result::Corrupt when the file has a mistake; the description
    ///     names the first one, as in `line 3: no "="`
    Reference<StringMapBundle> createBundle(Locale* locale = nullptr) const;

private:
    std::vector<Message> m_messages;
    std::vector<Mistake> m_mistakes;
};

} // namespace qx::i18n
