#pragma once

#include <cstddef>
#include <string_view>

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
    ~Iconv();
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    /// Reads what should be one character; a sequence of several code points is not Converted.
    Outcome decode(std::string_view bytes, char32_t* codePoint);
    /// Writes one character at @p bytes, at most @p room bytes, and counts them in @p length; one
    /// that takes more is not Converted.
    Outcome encode(char32_t codePoint, char* bytes, std::size_t room, std::size_t* length);

private:
    /// The system's name for 32-bit code points in the order of the machine.
    static constexpr const char* CodePoints = "WCHAR_T";

    Iconv(const char* to, const char* from);
    Outcome convert(const void* in, std::size_t size, void* out, std::size_t room,
                    std::size_t* written);

    void* m_descriptor;
};

} // namespace qx::codecs
