#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <qx/core/String.h>

namespace qx::util::detail {

/// The text of a value of the type string, without the 0 unit at its end.
inline String registryText(const std::vector<uint8_t>& data) {
    std::u16string text(data.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), data.data(), text.size() * sizeof(char16_t));
    if (text.ends_with(u'\0'))
        text.pop_back();
    return String(std::u16string_view(text));
}

} // namespace qx::util::detail
