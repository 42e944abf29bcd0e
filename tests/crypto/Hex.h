#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qxtest {

using Bytes = std::vector<signed char>;

inline Bytes fromHex(std::string_view digits) {
    Bytes bytes;
    for (size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(
            static_cast<signed char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    return bytes;
}

inline std::string toHex(const Bytes& bytes) {
    std::string digits;
    for (const signed char byte : bytes) {
        digits += "0123456789abcdef"[byte >> 4 & 15];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

/// Bytes 0, 1, 2 and so on.
inline Bytes counting(size_t count) {
    Bytes bytes(count);
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<signed char>(i);
    return bytes;
}

inline int32_t lengthOf(const Bytes& bytes) { return static_cast<int32_t>(bytes.size()); }

} // namespace qxtest
