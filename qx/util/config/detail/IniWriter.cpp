#include "qx/util/config/detail/IniWriter.h"

#include <algorithm>

#include <qx/core/String.h>
#include <qx/platform/text.h>

#include <qx/text/charset/detail/Kernels.h>
#include <qx/util/config/detail/IniDecoder.h>
#include <qx/util/config/detail/IniSyntax.h>
#include <qx/util/detail/PlatformText.h>

namespace qx::util::detail {

namespace {

// Bytes with the 0 byte that ends them.
constexpr size_t SetNameRoom = 260;
constexpr size_t KeyRoom = 255;

/// Converts names and values, and remembers that one had to be cut, above all for want of a form.
class Encoder {
public:
    explicit Encoder(std::string& text) : m_text(text) {}

    /// Appends a text, or the bytes that it was read from when there are any.
    void append(std::u16string_view units, std::string_view bytes, size_t room) {
        if (!bytes.empty()) {
            m_text += bytes;
            return;
        }
        const size_t start = m_text.size();
        const size_t fitting = std::min(units.size(), room - 1);
        m_text.resize(start + fitting);
        const size_t narrowed = text::charset::detail::kernels().narrowAscii(
            units.data(), fitting, reinterpret_cast<uint8_t*>(m_text.data() + start));
        if (narrowed == units.size())
            return;
        char buffer[SetNameRoom];
        const int32_t result = QXUnicodeToAnsi(units.data(), static_cast<int32_t>(units.size()),
                                               buffer, static_cast<int32_t>(room));
        m_text.resize(start);
        m_text += buffer;
        if (m_result != result::UnmappableCharacter && result < 0)
            m_result = result;
    }

    int32_t result() const { return m_result; }

private:
    std::string& m_text;
    int32_t m_result = result::Ok;
};

/// Whether a line is read as the key and its value: a byte that begins a character takes what
/// stands behind it along, so that it depends on the value whether the bytes of a name stand for
/// it.
bool isReadAs(std::string_view line, const IniKey& key) {
    IniDecoder decoder;
    std::u16string room(line.size(), u'\0'), expected(key.text);
    expected += u'=';
    expected += key.value;
    return decoder.decode(line, room.data()) == expected;
}

/// The result of converting a text whole.
int32_t checkForm(std::u16string_view text) {
    constexpr char16_t FirstBeyondAscii = 0x80;
    if (std::ranges::all_of(text, [](char16_t unit) { return unit < FirstBeyondAscii; }))
        return result::Ok;
    return resultOf([text] { narrowed(String(text)); });
}

} // namespace

int32_t writeIni(const IniSets& sets, std::string& text) {
    Encoder encoder(text);
    for (const IniSet* const set : sets.sets()) {
        text += '[';
        encoder.append(set->text, set->bytes, SetNameRoom);
        text += "]\n";
        for (const IniKey* const key : set->keys.entries()) {
            const auto appendLine = [&](std::string_view nameBytes) {
                encoder.append(key->text, nameBytes, KeyRoom);
                text += '=';
                encoder.append(key->value, key->valueBytes, KeyRoom);
            };
            const size_t start = text.size();
            appendLine(key->bytes);
            if (!key->bytes.empty() && !isReadAs(std::string_view(text).substr(start), *key)) {
                text.resize(start);
                appendLine({});
            }
            text += '\n';
        }
        text += '\n';
    }
    // Without a header behind it a set without a name, which comes last, is not read.
    if (!sets.sets().empty() && sets.sets().back()->text.empty())
        text += "[]\n";
    text += sets.unread();
    return encoder.result();
}

int32_t checkIniTexts(std::u16string_view set, std::u16string_view key,
                      std::u16string_view value) noexcept {
    constexpr std::u16string_view OtherLines = u"#:;[ \t\v\f\r\xFEFF";
    const auto isInLine = [](std::u16string_view text) { return text.find(u'\n') == text.npos; };
    const bool isKeyLine = key.find(u'=') == key.npos && trimIni(key).size() == key.size() &&
                           (key.empty() || OtherLines.find(key[0]) == OtherLines.npos);
    return isInLine(set) && isInLine(key) && isInLine(value) && isKeyLine ? result::Ok
                                                                          : result::InvalidArgument;
}

int32_t checkNewIniTexts(const IniSets& sets, std::u16string_view set, std::u16string_view key,
                         std::u16string_view value) {
    // Names that are there stay as they are.
    int32_t result = sets.findSet(set) ? result::Ok : checkForm(set);
    if (result >= 0 && !sets.findKey(set, key))
        result = checkForm(key);
    return result < 0 ? result : checkForm(value);
}

} // namespace qx::util::detail
