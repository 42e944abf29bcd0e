#pragma once

#include <initializer_list>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/StringBundle.h>
#include <qx/i18n/StringBundleLogger.h>
#include <qx/log/ILogProcessor.h>

#include "Protocol.h"

namespace collector {

/// The messages that are registered for the locale (empty: that of the user), with the built-in
/// ones, in English, in the place of those that they do not have.
qx::Reference<qx::i18n::StringBundle> findMessages(const qx::String& locale);

/// What the service itself has to say goes to its logs, in the language of the user.
///
/// Any thread may call the member.
class Journal {
public:
    Journal(const qx::String& locale, qx::log::ILogProcessor* logs);

    /// Logs the message of that key with the arguments in the place of {0}, {1} and so on. When it
    /// cannot be logged, what clients send cannot either, and they are told.
    void tell(Level level, const qx::String& key,
              std::initializer_list<qx::String> arguments) const noexcept;

private:
    qx::Reference<qx::log::StringBundleLogger> m_logger;
};

} // namespace collector
