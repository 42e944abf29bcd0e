#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <qx/core/FormatArgument.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>

namespace qx::detail {

/// What stands behind the ":" of a place in a pattern.
struct PatternLayout {
    enum class Side : uint8_t { Default, Left, Right };

    Side side = Side::Default;
    bool fillsWithZeros = false;
    uint32_t width = 0;
    std::optional<uint32_t> precision;
    char16_t form = 0; ///< "x", "X", "f", "e", or 0 for the usual one
};

/// How a pattern of String::format is read.
enum class PatternRules : uint8_t {
    Full,
    /// For arguments that are all texts in UTF-16: nothing but "{0}" and so on means anything.
    TextsOnly,
};

/// A place of a pattern that is read by PatternRules::TextsOnly: "{", a number without needless
/// zeros, "}".
struct TextPlace {
    size_t begin;
    size_t end; ///< behind the "}"
    size_t number;
};

/// The first place from @p at on.
/// @param limit  keeps long numbers from being read: behind one above it stands no further digit
std::optional<TextPlace> findTextPlace(std::u16string_view pattern, size_t at,
                                       size_t limit) noexcept;

/// Reads a pattern of String::format from left to right, in pieces: some text as it is, and an
/// argument behind it.
///
/// All members throw what String::format throws.
class PatternReader {
public:
    PatternReader(std::u16string_view pattern, PatternRules rules, const FormatArgument* arguments,
                  size_t count) noexcept;

    /// Moves to the next piece; false when there is none.
    bool next();
    std::u16string_view text() const noexcept { return m_text; }
    /// Null for a piece without one.
    const FormatArgument* argument() const noexcept { return m_argument; }
    /// The argument is a text, character, truth value or integer, to be shown as append of a String
    /// does.
    bool isPlain() const noexcept { return m_isPlain; }
    /// About the length of the whole text, for the room that it is begun with.
    int32_t expectedLength() const noexcept;
    /// Appends the argument, whatever it is, as the pattern asks for it.
    void appendArgument(String& out) const;

    /// The number of places "{0}", "{1}", ... of the rules for texts, up to the first that does not
    /// occur, @p limit at most.
    static size_t countPlaces(std::u16string_view pattern, size_t limit) noexcept;

private:
    bool nextOfTexts() noexcept;
    void readBrace();
    void readLayout();
    bool tryTake(char16_t unit) noexcept;
    std::optional<uint32_t> tryTakeNumber() noexcept;
    void appendPlain(String& out) const;
    void appendLaidOut(String& out) const;
    void checkLayout() const;
    [[noreturn]] void refuse(size_t place, TextView why) const;

    std::u16string_view m_pattern;
    const FormatArgument* m_arguments;
    size_t m_count;
    PatternRules m_rules;
    bool m_isPlain = true;
    size_t m_at = 0;
    size_t m_place = 0; ///< where the "{" of the place stands
    std::u16string_view m_text;
    const FormatArgument* m_argument = nullptr;
    PatternLayout m_layout;
};

} // namespace qx::detail
