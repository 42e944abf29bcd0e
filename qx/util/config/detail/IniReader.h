#pragma once

#include <initializer_list>
#include <string_view>

#include <qx/util/config/detail/IniDecoder.h>
#include <qx/util/config/detail/IniSets.h>

namespace qx::util::detail {

/// Reads the text of an INI file: sets, and from the first line on that is neither a set header nor
/// a key line, the bytes as they are. Linear in the size of the text.
class IniReader {
public:
    /// @param bytes  must outlive the reader
    /// @param sets   empty; receives the content
    IniReader(std::string_view bytes, IniSets& sets);

    /// @throws text::charset::UnknownEncodingException, std::bad_alloc
    void read();

private:
    std::string_view takeLine();
    bool readLine(std::string_view line);
    bool readSetHeader(std::string_view line);
    bool readKey(std::string_view line);
    std::u16string_view decode(std::string_view line);
    bool isDecodedAs(std::initializer_list<std::string_view> bytes,
                     std::initializer_list<std::u16string_view> text);
    std::string_view undecoded(std::u16string_view text, std::string_view bytes) const;
    void endSet(bool isLast);

    const std::string_view m_bytes;
    std::string_view m_rest;
    const bool m_mayHoldNul;
    IniSets& m_sets;
    /// Keys of the set that is being read, under the name that it has at its header. They replace
    /// those of an earlier set of that name only when they are complete.
    IniSet m_pending;
    bool m_hasHeader = false;
    IniDecoder m_decoder;
};

} // namespace qx::util::detail
