#include "qx/i18n/StringBundleLogger.h"

#include <string_view>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/i18n/MessagePlaceholders.h>
#include <qx/i18n/StringBundle.h>

namespace qx::log {

namespace {

/// @p message with the texts of the arguments, or as it is when there are too few.
String substituted(const String& message, const collections::List<Object>& arguments) {
    const std::u16string_view text = message.view();
    const auto placeholders = placeholdersIn(text);
    const size_t indexes = argumentCount(placeholders);
    if (indexes == 0 || indexes > static_cast<size_t>(arguments.getSize()))
        return message;
    String result;
    size_t copied = 0;
    for (const auto& placeholder : placeholders) {
        if (placeholder.index >= indexes)
            continue;
        result.append(text.substr(copied, placeholder.start - copied));
        const auto argument = arguments.get(static_cast<int>(placeholder.index));
        if (argument)
            result.append(argument->toString());
        copied = placeholder.start + placeholder.length;
    }
    return result.append(text.substr(copied));
}

} // namespace

StringBundleLogger::StringBundleLogger(i18n::StringBundle* bundle, ILevelLogger* target)
    : m_target(target), m_bundle(bundle) {
    if (!bundle || !target)
        throwResult(result::NullPointer, u"no bundle or no target");
}

StringBundleLogger::~StringBundleLogger() = default;

void StringBundleLogger::log(int level, const String& key,
                             const collections::List<Object>& arguments) {
    String message(key);
    try {
        message = m_bundle->getString(key);
        message = substituted(message, arguments);
    } catch (...) {
        // The message is as it was before what failed.
    }
    m_target->log(level, message);
}

void StringBundleLogger::log(int level, const String& key) {
    String message(key);
    try {
        message = m_bundle->getString(key);
    } catch (...) {
        // The key will do.
    }
    m_target->log(level, message);
}

} // namespace qx::log
