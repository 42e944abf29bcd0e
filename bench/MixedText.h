#pragma once

// Texts that mix scripts, the same in every run.

#include <cstddef>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>

#include <qx/text/charset/Surrogates.h>

/// What takes part in a mixture, and its share in hundredths.
struct Part {
    std::u32string_view characters;
    unsigned percent;
};

inline constexpr std::u32string_view EnglishLetters =
    U"the quick brown fox jumps over the lazy dog ";
inline constexpr std::u32string_view LatinLetters = U"äöüßéèñçøåÄÖÜÉÈÑÇØÅñ";
inline constexpr std::u32string_view GreekLetters = U"αβγδεζηθικλμνξοπρστυφχψω";
inline constexpr std::u32string_view CjkLetters =
    U"人生而自由在尊严和权利上一律平等他们赋有理性良心";
inline constexpr std::u32string_view EmojiLetters =
    U"😀😃😄😁😆😅😂🤣🙂🙃😉😊😇🥰😍🤩😘🚀🌍🎉🔥👍";
inline constexpr std::u32string_view Markup = U"<a href=\"/index.html\" class='x'></a> &amp; ";

/// A text of @p length units at least whose parts follow each other at random, @p run characters of
/// one at a time. The same in every run.
inline std::u16string mixed(std::initializer_list<Part> parts, size_t run, size_t length) {
    std::mt19937 random(20);
    std::u16string units;
    while (units.size() < length) {
        auto left = static_cast<unsigned>(random() % 100);
        const Part* part = parts.begin();
        while (left >= part->percent)
            left -= part++->percent;
        for (size_t i = 0; i < run; ++i) {
            char16_t pair[2];
            units.append(pair, qx::text::charset::writeUtf16(
                                   part->characters[random() % part->characters.size()], pair));
        }
    }
    return units;
}
