#pragma once

#include <optional>
#include <string>

#include <qx/core/String.h>
#include <qx/util/buffer/RWBuffer.h>

namespace qx {

/// Rendering of a text in one encoding, followed by a 0 byte.
class String::AnsiBytes : public util::RWByteBuffer {
public:
    /// @p encoding  name as the caller wrote it, null for the default encoding
    explicit AnsiBytes(const char16_t* encoding) {
        if (encoding)
            m_encoding = encoding;
    }
    /// True for the same name but for the case of ASCII letters, or for no name twice.
    bool isIn(const char16_t* encoding) const noexcept;

private:
    std::optional<std::u16string> m_encoding;
};

} // namespace qx
