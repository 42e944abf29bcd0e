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

/// Logs texts that a bundle has under keys, with arguments in the place of "{0}", "{1}" and so on.
/// Whatever fails on the way to the text, something is logged: the text as it stands in the bundle,
/// or the key.
///
/// As safe for threads as bundle and target are.
class QX_API StringBundleLogger : public Object {
public:
    /// Both are kept by references.
    /// @throws ResultException with result::NullPointer
    StringBundleLogger(i18n::StringBundle* bundle, ILevelLogger* target);
    ~StringBundleLogger() override;

    /// Every "{n}" becomes the text of the argument with that number, counted from 0, but only up
    /// to the first number that does not occur; nothing is replaced when an argument for one of
    /// these is missing. Arguments are not searched for further placeholders; a null one is empty.
    /// What the target throws passes through.
    virtual void log(int level, const String& key, const collections::List<Object>& arguments);
    virtual void log(int level, const String& key);

private:
    const Reference<ILevelLogger> m_target;
    const Reference<i18n::StringBundle> m_bundle;
};

} // namespace qx::log
