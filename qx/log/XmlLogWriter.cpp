#include "qx/log/XmlLogWriter.h"

#include <algorithm>
#include <string_view>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/log/detail/FieldSource.h>
#include <qx/log/detail/FieldWalk.h>
#include <qx/text/charset/Surrogates.h>

namespace qx::log {

using text::charset::isHighSurrogate;
using text::charset::isLowSurrogate;
using text::charset::isSurrogate;
using namespace std::string_view_literals;

namespace {

enum class XmlPlace { Content, Attribute };

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

/// Appends @p text so that an XML 1.0 parser reads it back from @p place, in double quotes where
/// that is an attribute. Characters that no document may contain, lone surrogates among them,
/// become U+FFFD.
template <class Text>
void appendEscaped(Text& to, std::u16string_view text, XmlPlace place) {
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

/// Appends the name of the element for a field called @p name: letters, digits, "_", "-" and "." of
/// ASCII, the narrowest set on which parsers agree. True when it is the field's whole name.
template <class Text>
bool appendElementName(Text& to, std::u16string_view name) {
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

template <class Text>
void appendPlainField(Text& text, std::u16string_view name, std::u16string_view value) {
    text.append(u"    <"sv).append(name).append(u"> "sv).append(value).append(u" </"sv);
    text.append(name.substr(0, name.find(u' '))).append(u">\n"sv);
}

template <class Text>
void appendWellFormedField(Text& text, std::u16string_view name, std::u16string_view value) {
    text.append(u"    <"sv);
    if (!appendElementName(text, name)) {
        text.append(u" name=\""sv);
        appendEscaped(text, name, XmlPlace::Attribute);
        text.append(u'"');
    }
    text.append(u"> "sv);
    appendEscaped(text, value, XmlPlace::Content);
    text.append(u" </"sv);
    appendElementName(text, name);
    text.append(u">\n"sv);
}

constexpr std::u16string_view EntryBegin = u"  <entry>\n", EntryEnd = u"  </entry>\n";

} // namespace

Reference<ILogProcessor> XmlLogWriter::create(io::Writer* writer, Escaping escaping) {
    const Reference<XmlLogWriter> created(new XmlLogWriter(writer, escaping));
    created->encodeBy(&XmlLogWriter::encode);
    return created;
}

XmlLogWriter::XmlLogWriter(io::Writer* writer, Escaping escaping)
    : AbstractLogWriter(writer), m_escaping(escaping) {
    writer->write(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    writer->write(u"<log>\n");
}

XmlLogWriter::~XmlLogWriter() {
    if (m_begun.isFromParent())
        return;
    resultOf([this] {
        writer().write(u"</log>\n");
        writer().flush();
    });
}

String XmlLogWriter::format(const ILogEntry* entry) {
    String text = takeText();
    text.append(EntryBegin);
    const auto append =
        m_escaping == Escaping::None ? &appendPlainField<String> : &appendWellFormedField<String>;
    detail::forEachText(*entry, [&](std::u16string_view name, std::u16string_view value) {
        append(text, name, value);
    });
    text.append(EntryEnd);
    return text;
}

void XmlLogWriter::encode(const AbstractLogWriter& self, const detail::FieldSource& fields,
                          detail::Utf8Text& text) {
    using detail::Utf8Text;
    const bool isPlain = static_cast<const XmlLogWriter&>(self).m_escaping == Escaping::None;
    const auto append = isPlain ? &appendPlainField<Utf8Text> : &appendWellFormedField<Utf8Text>;
    FieldText room;
    text.append(EntryBegin);
    fields.forEachField(text, [&](std::u16string_view name, const FieldValue& value) {
        append(text, name, value.text(room));
    });
    text.append(EntryEnd);
}

} // namespace qx::log
