#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/converter.h>

namespace qx::codecs {

/// One direction of the system's converter between an encoding and code points. For one thread at a
/// time.
class Iconv {
public:
    enum class Outcome {
        Converted,
        Invalid,    ///< wrong, or without mapping
        Incomplete, ///< the bytes end within a character
    };

    /// Reads @p encoding, a name that the system knows.
    /// @throws ResultException with result::NotAvailable for one that it lacks
    static Iconv decoder(const char* encoding) { return Iconv(CodePoints, encoding); }
    /// Writes @p encoding.
    /// @throws ResultException like decoder
    static Iconv encoder(const char* encoding) { return Iconv(encoding, CodePoints); }

    /// What a sequence of bytes means: @p second is 0 unless it means two characters.
    Outcome decode(std::string_view bytes, char32_t* first, char32_t* second);
    /// The bytes of a text from the start of a text on, without those that would end it; empty when
    /// it cannot be written.
    std::string_view encode(std::u32string_view text) { return encode(text, false); }
    /// The same with the bytes that end the text.
    std::string_view encodeWhole(char32_t codePoint) { return encode({&codePoint, 1}, true); }

private:
    /// The system's name for 32-bit code points in the order of the machine.
    static constexpr const char* CodePoints = "WCHAR_T";
    static constexpr int32_t Room = 32;

    Iconv(const char* to, const char* from);
    std::string_view encode(std::u32string_view text, bool isWhole);

    PlatformHandle<&QXConverterClose> m_converter;
    char m_bytes[Room];
};

} // namespace qx::codecs
