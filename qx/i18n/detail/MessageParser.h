#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <qx/i18n/MessageFile.h>

namespace qx::i18n::detail {

/// Reads the text of a message file line by line; linear.
class MessageParser {
public:
    /// @param bytes  must outlive the parser
    MessageParser(std::string_view bytes, std::vector<MessageFile::Message>& messages,
                  std::vector<MessageFile::Mistake>& mistakes);

    void read();

private:
    bool takeLine();
    void takeEntry();
    void readEntry();
    bool readPart(std::u16string& part, char16_t end);
    bool readEscape(std::u16string& part);
    bool readUnits(std::u16string& part);
    std::optional<char16_t> takeUnit();
    bool complain(std::u16string_view reason);
    void complain(int32_t line, std::u16string_view reason);

    std::string_view m_rest;
    std::vector<MessageFile::Message>& m_messages;
    std::vector<MessageFile::Mistake>& m_mistakes;
    std::unordered_map<std::u16string, int32_t> m_lineOfKey;

    /// The last line that was taken.
    std::u16string m_line;
    int32_t m_lineNumber = 0;
    bool m_isSound = false; ///< had no mistake of its own

    /// The lines of a message, joined; how far it was read; where in it each line begins.
    std::u16string m_entry;
    size_t m_at = 0;
    std::vector<std::pair<size_t, int32_t>> m_lineNumbers;
};

} // namespace qx::i18n::detail
