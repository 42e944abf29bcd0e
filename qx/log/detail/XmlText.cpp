#include "qx/log/detail/XmlText.h"

#include <algorithm>

#include <qx/core/String.h>
#include <qx/text/charset/Surrogates.h>

namespace qx::log::detail {

using text::charset::isHighSurrogate;
using text::charset::isLowSurrogate;
using text::charset::isSurrogate;

namespace {

/// True for a unit that stands for itself wherever it is.
bool isPlain(char16_t unit) {
    switch (unit) {
    case u'&':
    case u'<':
    case u'>':
    case u'"':
    case u'\'':
    case u'\xFFFE':
    case u'\xFFFF':
        return false;
    default:
        return unit >= u' ' && !isSurrogate(unit);
    }
}

/// What is written for a unit that is not plain and no half of a pair.
std::u16string_view replacementOf(char16_t unit, XmlPlace place) {
    const bool isAttribute = place == XmlPlace::Attribute;
    switch (unit) {
    case u'&':
        return u"&amp;";
    case u'<':
        return u"&lt;";
    case u'>':
        return u"&gt;";
    case u'"':
        return u"&quot;";
    case u'\'':
        return u"&apos;";
    case u'\r': // parsers make a line feed of it
        return u"&#13;";
    case u'\n': // and, in attributes, a blank of these two
        return isAttribute ? u"&#10;" : u"\n";
    case u'\t':
        return isAttribute ? u"&#9;" : u"\t";
    default:
        return u"\uFFFD";
    }
}

bool isNameStart(char16_t unit) {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || unit == u'_';
}

bool isNameUnit(char16_t unit) {
    return isNameStart(unit) || (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'.';
}

} // namespace

void appendEscaped(String& to, std::u16string_view text, XmlPlace place) {
    const char16_t* from = text.data();
    const char16_t* const end = from + text.size();
    while (from != end) {
        const char16_t* const special = std::find_if_not(from, end, isPlain);
        to.append(std::u16string_view(from, static_cast<size_t>(special - from)));
        if (special == end)
            return;
        if (end - special > 1 && isHighSurrogate(special[0]) && isLowSurrogate(special[1])) {
            to.append(std::u16string_view(special, 2));
            from = special + 2;
        } else {
            to.append(replacementOf(*special, place));
            from = special + 1;
        }
    }
}

bool appendElementName(String& to, std::u16string_view name) {
    bool isWhole = !name.empty() && isNameStart(name.front());
    if (!isWhole)
        to.append(u'_');
    for (const char16_t unit : name) {
        if (unit == u' ')
            return false;
        const bool fits = isNameUnit(unit);
        to.append(fits ? unit : u'_');
        isWhole = isWhole && fits;
    }
    return isWhole;
}

} // namespace qx::log::detail
