#include "qx/util/SystemName.h"

#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/platform/files.h>
#include <qx/platform/text.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/detail/ShownBytes.h>
#include <qx/util/FileName.h>
#include <qx/util/detail/PlatformText.h>

namespace qx::util {

namespace {

int32_t narrow(const String& text, std::string& bytes) {
    return resultOf([&] { bytes = detail::narrowed(text); });
}

/// Name of the default encoding.
class DefaultEncoding {
public:
    DefaultEncoding() {
        throwIfFailed(QXGetDefaultCharEncoding(m_name, static_cast<int32_t>(std::size(m_name))));
    }
    std::u16string_view name() const { return m_name; }

private:
    char16_t m_name[40] = {};
};

/// Nothing for what is no text in the default encoding.
std::optional<String> decoded(const char* name) {
    try {
        // What its decoder takes here is exactly what its encoder writes.
        if (DefaultEncoding().name() == u"UTF-8")
            return String(std::string_view(name));
        String text(name);
        std::string bytes;
        const int32_t result = narrow(text, bytes);
        if (result != result::UnmappableCharacter)
            throwIfFailed(result);
        return result >= 0 && bytes == name ? std::optional(std::move(text)) : std::nullopt;
    } catch (const text::charset::InvalidCharacterException&) {
        return std::nullopt; // no replacement stands for it
    }
}

[[noreturn]] void refuse(const String& name, const char16_t* why) {
    // A description of units up to a 0 would not show all of the name.
    throw ResultException(result::UnmappableCharacter,
                          String(u'"' + name + u'"').append(why).append(DefaultEncoding().name()));
}

} // namespace

std::string toSystemName(const String& name) {
    std::string bytes;
    const int32_t result = name.contains(u'\0') ? result::UnmappableCharacter : narrow(name, bytes);
    if (result == result::UnmappableCharacter)
        refuse(name, u" has no form in the default encoding ");
    throwIfFailed(result);
    return bytes;
}

std::string anchoredName(std::string name) {
    char anchored[4096]; // no path that the platform finds is longer
    if (QXPathAnchor(name.c_str(), anchored, sizeof anchored) >= 0)
        name = anchored;
    return name;
}

String fromSystemName(const char* name) {
    if (name == nullptr)
        return {};
    std::optional<String> text = decoded(name);
    if (!text)
        refuse(text::charset::detail::shownBytes(name), u" is no text in the default encoding ");
    return *std::move(text);
}

void FileName::setSystemName(const std::string& name) {
    if (name.find('\0') != std::string::npos)
        refuse(text::charset::detail::shownBytes(name), u" is no text in the default encoding ");
    own(fromSystemName(name.c_str()));
}

} // namespace qx::util
