#include "qx/log/XmlLogWriter.h"

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/log/detail/FieldWalk.h>
#include <qx/log/detail/XmlText.h>

namespace qx::log {

namespace {

void appendPlainField(String& text, std::u16string_view name, std::u16string_view value) {
    text.append(u"    <").append(name).append(u"> ").append(value).append(u" </");
    text.append(name.substr(0, name.find(u' '))).append(u">\n");
}

void appendWellFormedField(String& text, std::u16string_view name, std::u16string_view value) {
    text.append(u"    <");
    const int32_t begin = text.getLength();
    const bool isWhole = detail::appendElementName(text, name);
    const int32_t end = text.getLength();
    if (!isWhole) {
        text.append(u" name=\"");
        detail::appendEscaped(text, name, detail::XmlPlace::Attribute);
        text.append(u'"');
    }
    text.append(u"> ");
    detail::appendEscaped(text, value, detail::XmlPlace::Content);
    text.append(u" </").append(
        TextView(text).substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin)));
    text.append(u">\n");
}

} // namespace

Reference<ILogProcessor> XmlLogWriter::create(io::Writer* writer, Escaping escaping) {
    return Reference<XmlLogWriter>(new XmlLogWriter(writer, escaping));
}

XmlLogWriter::XmlLogWriter(io::Writer* writer, Escaping escaping)
    : AbstractLogWriter(writer), m_escaping(escaping) {
    writer->write(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    writer->write(u"<log>\n");
}

XmlLogWriter::~XmlLogWriter() {
    resultOf([this] {
        writer().write(u"</log>\n");
        writer().flush();
    });
}

String XmlLogWriter::format(const ILogEntry* entry) {
    String text = takeText();
    text.append(u"  <entry>\n");
    const auto append = m_escaping == Escaping::None ? &appendPlainField : &appendWellFormedField;
    detail::forEachText(*entry, [&](std::u16string_view name, std::u16string_view value) {
        append(text, name, value);
    });
    text.append(u"  </entry>\n");
    return text;
}

} // namespace qx::log
