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

/// The messages of one locale, read from UTF-8 text: what programs show or log, by keys.
///
///     # A comment. Lines without anything but blanks are skipped as well.
///     file.open    = Cannot open {0}: {1}
///     prompt       = Name:\u0020
///
/// One message a line: key, "=", text. Blanks (spaces and tabs) around key and text do not count.
/// A "\" in either begins an escape:
///
/// | Escape | Stands for |
/// |---|---|
/// | `\n` `\r` `\t` | line feed, carriage return, tab |
/// | `\\` `\=` `\#` | the character itself: a key may have "=" in it and begin with "#" |
/// | "\" and a space | a space that counts at either end |
/// | `\uXXXX` | the UTF-16 unit of four hexadecimal digits; two of them make a pair |
/// | "\" and the line's end | nothing: the message goes on in the next line, behind its blanks |
///
/// Lines end with a line feed or carriage return and line feed; a byte order mark in front is
/// skipped. An empty text is as good as none, so that its key may be written down before it is
/// translated. Mistakes are: bytes that are not UTF-8, control characters but the tab, other
/// escapes, half a pair, U+0000, a line without "=" or without a key, a key for the second time, a
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

    /// So many bytes a file may have.
    static constexpr int32_t LargestFile = 1 << 24;
    /// Behind so many mistakes a text is not read further.
    static constexpr int32_t MostMistakes = 100;

    /// Reads the text of a file, whatever is wrong with it. Linear in its length.
    explicit MessageFile(std::string_view bytes);
    /// Reads a file, of one moment unless somebody writes to it bit by bit; replace files as a
    /// whole (QXFileReplace, or a rename) where programs may be reading them.
    /// @throws ResultException with the platform's code: result::NotFound, result::FileTooLarge for
    ///     more than LargestFile bytes, result::Busy for a file that does not stop changing
    static MessageFile read(const String& path);

    /// The messages without a mistake, in the order of the file.
    const std::vector<Message>& messages() const noexcept { return m_messages; }
    /// In the order of the file; empty for a good one.
    const std::vector<Mistake>& mistakes() const noexcept { return m_mistakes; }

    /// A bundle of the messages.
    /// @param locale  kept by a reference; null for none
    /// @throws ResultException with result::Corrupt when the file has a mistake; the description
    ///     tells the first, as in `line 3: no "="`
    Reference<StringMapBundle> createBundle(Locale* locale = nullptr) const;

private:
    std::vector<Message> m_messages;
    std::vector<Mistake> m_mistakes;
};

} // namespace qx::i18n
