#pragma once

#include <qx/collections/List.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/log/ILevelLogger.h>
#include <qx/platform/export.h>

namespace qx::i18n {
class StringBundle;
}

namespace qx::log {

/// Logs texts of a bundle, which it finds by their keys, and replaces "{0}", "{1}" and so on by
/// arguments. When making the text fails, it logs the text without replacements or, when there is
/// no text, the key.
///
/// Several threads may use a logger if they may use its bundle and its target.
class QX_API StringBundleLogger : public Object {
public:
    /// Both are kept by references.
    /// @throws ResultException with result::NullPointer
    StringBundleLogger(i18n::StringBundle* bundle, ILevelLogger* target);
    ~StringBundleLogger() override;

    /// Replaces every "{n}" by the text of argument n, counted from 0, up to the first number that
    /// does not occur. Nothing is replaced when an argument for one of these numbers is missing.
    /// Arguments are not searched for further placeholders; a null argument is empty. Exceptions of
    /// the target pass through.
    virtual void log(int level, const String& key, const collections::List<Object>& arguments);
    virtual void log(int level, const String& key);

private:
    const Reference<ILevelLogger> m_target;
    const Reference<i18n::StringBundle> m_bundle;
};

} // namespace qx::log
