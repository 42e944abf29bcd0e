#include "qx/util/SystemName.h"

#include <iterator>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
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

String decoded(const char* name) {
    try {
        return String(name);
    } catch (const text::charset::InvalidCharacterException&) {
        return {}; // one of those that no replacement stands for
    }
}

[[noreturn]] void refuse(const String& name, const char16_t* why) {
    char16_t encoding[40] = {};
    throwIfFailed(QXGetDefaultCharEncoding(encoding, static_cast<int32_t>(std::size(encoding))));
    // A description of units up to a 0 would not show all of the name.
    throw ResultException(result::UnmappableCharacter,
                          String(u'"' + name + u'"').append(why).append(encoding));
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

String fromSystemName(const char* name) {
    if (name == nullptr)
        return {};
    const String text = decoded(name);
    std::string bytes;
    const int32_t result = narrow(text, bytes);
    if (result == result::UnmappableCharacter || (result >= 0 && bytes != name))
        refuse(text::charset::detail::shownBytes(name), u" is no text in the default encoding ");
    throwIfFailed(result);
    return text;
}

void FileName::setSystemName(const std::string& name) {
    if (name.find('\0') != std::string::npos)
        refuse(text::charset::detail::shownBytes(name), u" is no text in the default encoding ");
    own(fromSystemName(name.c_str()));
}

} // namespace qx::util
