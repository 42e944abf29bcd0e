#pragma once

#include <string>
#include <string_view>

#include <qx/core/Reference.h>
#include <qx/text/charset/ByteToCharConverter.h>

namespace qx::util::detail {

/// Decodes the lines of an INI file: in the default encoding, and in UTF-8 from a byte order mark
/// on.
class IniDecoder {
public:
    void useUtf8();
    bool isUtf8() const noexcept { return m_isUtf8; }

    /// The text of a line. It lies in @p room, which has one unit for each byte, when the line is
    /// ASCII, else in memory of the decoder until the next call.
    /// @throws text::charset::UnknownEncodingException, std::bad_alloc
    std::u16string_view decode(std::string_view line, char16_t* room);

    /// True when the last line holds bytes that are no text, and would be written as they are not.
    bool isUndecoded() const noexcept { return m_isUndecoded; }

private:
    Reference<text::charset::ByteToCharConverter> m_decoder;
    std::u16string m_decoded;
    bool m_isUtf8 = false;
    bool m_isUndecoded = false;
};

} // namespace qx::util::detail
