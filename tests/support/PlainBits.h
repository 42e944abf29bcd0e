#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qxtest {

/// Bits one by one, most significant first: the plain model of bit streams and of text with five
/// bits in a character.
struct PlainBits {
    PlainBits() = default;
    /// The lowest @p width bits of each unit.
    PlainBits(std::string_view units, int width) {
        for (const char unit : units)
            append(static_cast<uint8_t>(unit), width);
    }

    void append(uint32_t value, int bits) {
        while (bits-- > 0)
            all.push_back(value >> bits & 1);
    }
    /// Fills up with zero bits to a multiple of @p width.
    void pad(int width) {
        while (all.size() % static_cast<size_t>(width) != 0)
            all.push_back(false);
    }
    size_t size() const { return all.size(); }

    /// The bits in units of @p width, the last one filled up with zero bits.
    std::string units(int width) const {
        PlainBits padded(*this);
        padded.pad(width);
        std::string units(padded.size() / static_cast<size_t>(width), '\0');
        for (size_t i = 0; i < padded.size(); ++i) {
            char& unit = units[i / static_cast<size_t>(width)];
            unit = static_cast<char>(unit << 1 | padded.all[i]);
        }
        return units;
    }

    std::vector<bool> all;
};

/// Text of @p bytes, five bits in a character of @p alphabet.
inline std::string plainAlphaNum(std::string_view bytes, std::string_view alphabet) {
    std::string text = PlainBits(bytes, 8).units(5);
    for (char& character : text)
        character = alphabet[static_cast<uint8_t>(character)];
    return text;
}

/// The bytes of a text, the last one filled up with zero bits.
inline std::string plainFromAlphaNum(std::string_view text, std::string_view alphabet) {
    std::string values;
    for (const char character : text)
        values.push_back(static_cast<char>(alphabet.find(character)));
    return PlainBits(values, 5).units(8);
}

} // namespace qxtest
