#include "qx/log/BasicLogWriter.h"

#include <qx/core/String.h>
#include <qx/log/detail/FieldWalk.h>
#include <qx/log/detail/TextAppender.h>

namespace qx::log {

Reference<ILogProcessor> BasicLogWriter::create(io::Writer* writer) {
    return Reference<BasicLogWriter>(new BasicLogWriter(writer));
}

String BasicLogWriter::format(const ILogEntry* entry) {
    String text = takeText();
    {
        detail::TextAppender lines(text);
        detail::forEachText(*entry, [&lines](std::u16string_view name, std::u16string_view value) {
            lines.append(name).append(u'=').append(value).append(u'\n');
        });
        lines.append(u"-------------------------\n");
    }
    return text;
}

} // namespace qx::log
