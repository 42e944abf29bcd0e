#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <qx/util/config/detail/IniSets.h>

namespace qx::util::detail {

/// One line of an INI file of which every byte is kept.
struct IniLine {
    enum class Kind : uint8_t {
        Blank,
        Comment,
        Header,
        Key,
        Continuation, ///< of the value of the key before it
        Indented,     ///< begins with white space, and no value asks for it
        NoHeader,     ///< begins with "[" and has no "]"
        NoKey,
    };
    static constexpr size_t NoSet = SIZE_MAX;

    std::string_view bytes; ///< with the line end
    Kind kind = Kind::Blank;
    bool isUtf8 = false; ///< a byte order mark stands in this line or before it
    bool goesOn = false; ///< a "\" at its end, or at that before a comment, asks for another line
    bool isDoubtful = false; ///< a set or key, but the line before it goes on
    size_t header = NoSet;   ///< the line of the set that this one is in
    std::u16string name;     ///< of a set or key
    std::u16string value;    ///< of a key, with its continuations
};

/// An INI file line by line. A value whose line ends in "\" goes on in the next one, unless that is
/// a set or key by itself; several lines of any length make one value, with a blank in the place of
/// each "\" and line end. Sets and keys that come again are kept, and their keys are those of one
/// set. A line that is not understood is passed over. What stands behind a "[" without "]" belongs
/// to no set.
class IniLines {
public:
    /// @throws text::charset::UnknownEncodingException, std::bad_alloc
    explicit IniLines(std::string bytes);
    IniLines(const IniLines&) = delete;
    IniLines& operator=(const IniLines&) = delete;

    const std::string& bytes() const noexcept { return m_bytes; }
    const std::vector<IniLine>& lines() const noexcept { return m_lines; }
    /// Stores what the lines say into @p sets, which is empty. The last of several equal keys
    /// counts.
    void readInto(IniSets& sets) const;

private:
    class Parser;

    std::string m_bytes;
    std::vector<IniLine> m_lines;
};

/// A change of a file whose lines are kept: the bytes that the file has then, or why it is refused.
struct IniEdit {
    int32_t result = 0;
    std::string bytes;
    std::string refusal; ///< with result::Fail: the reason, with the line
};

/// Sets the value of a key, which may be new, in a set that may be new.
/// @return result::Fail for what cannot be done without touching other lines or guessing what they
///     mean, result::UnmappableCharacter
IniEdit putKey(const IniLines& lines, std::u16string_view set, std::u16string_view key,
               std::u16string_view value);
/// Removes a key.
/// @return result::NotFound, and as above
IniEdit removeKey(const IniLines& lines, std::u16string_view set, std::u16string_view key);
/// Removes a set and its subsets, with the comments between their keys. There may be none.
IniEdit removeSet(const IniLines& lines, std::u16string_view set);

} // namespace qx::util::detail
