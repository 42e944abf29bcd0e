#include "qx/i18n/MessageFile.h"

#include <qx/collections/StringHashMap.h>
#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/i18n/detail/MessageParser.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/detail/WholeFile.h>

namespace qx::i18n {

MessageFile::MessageFile(std::string_view bytes) {
    detail::MessageParser(bytes, m_messages, m_mistakes).read();
}

MessageFile MessageFile::read(const String& path) {
    if (path.contains(u'\0'))
        throwResult(result::InvalidArgument, u"a path with a 0 unit");
    util::detail::WholeFile file;
    throwIfFailedOf(file.read(util::toSystemName(path).c_str(), LargestFile), path);
    if (!file.isStable)
        throw ResultException(result::Busy, u"the file does not stop changing: " + path);
    return MessageFile(file.bytes);
}

Reference<StringMapBundle> MessageFile::createBundle(Locale* locale) const {
    const Reference<Locale> held(locale);
    if (!m_mistakes.empty()) {
        const auto& [line, reason] = m_mistakes.front();
        throw ResultException(result::Corrupt, u"line " + String::valueOf(line) + u": " + reason);
    }
    // So that it need not grow: there is always room for one more.
    const auto values = makeReference<collections::StringHashMap>(
        static_cast<int>(m_messages.size() + m_messages.size() / 2 + 1));
    for (const auto& [key, text, line] : m_messages)
        values->put(key, makeReference<String>(text));
    return makeReference<StringMapBundle>(values, locale);
}

} // namespace qx::i18n
