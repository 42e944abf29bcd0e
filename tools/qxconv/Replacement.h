#pragma once

#include <cstdint>
#include <string>

#include <qx/core/String.h>

/// What is to happen with text that cannot be converted.
struct Replacement {
    enum class Kind {
        Reject,
        Default, ///< U+FFFD, or the substitution of the encoding
        Text,
        Escape, ///< "\xFF" for a byte, "\u4E2D" and "\U0001F600" for a character
    };

    Kind kind = Kind::Default;
    qx::String text; ///< for Text

    bool isDefault() const { return kind == Kind::Default; }
    /// For bytes that are no text.
    qx::String forBytes(const signed char* bytes, int32_t length) const;
    /// For a character that the encoding does not have.
    qx::String forCharacter(char32_t character) const;
};
