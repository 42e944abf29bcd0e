#pragma once

#include <qx/collections/StringHashMap.h>
#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/StringBundle.h>
#include <qx/i18n/StringMapBundle.h>

/// The messages in English, for machines where no others are registered.
inline qx::Reference<qx::i18n::StringBundle> builtInMessages() {
    const auto texts = qx::makeReference<qx::collections::StringHashMap>();
    const auto add = [&](const char16_t* key, const char16_t* text) {
        texts->put(key, qx::makeReference<qx::String>(text));
    };
    add(u"request.accepted", u"request accepted");
    add(u"request.handled", u"request {0} handled");
    add(u"request.unanswered", u"<request {0}> & no reply");
    return qx::makeReference<qx::i18n::StringMapBundle>(
        texts, qx::makeReference<qx::i18n::Locale>(u"en", nullptr));
}

/// The messages that are registered for the locale (empty: that of the user), with the built-in
/// ones in the place of those that they do not have.
inline qx::Reference<qx::i18n::StringBundle> findMessages(const qx::String& localeName) {
    const auto builtIn = builtInMessages();
    const qx::i18n::Locale locale(localeName.getData());
    try {
        auto found =
            qx::i18n::StringBundle::getBundle(u"Service", localeName.isEmpty() ? nullptr : &locale);
        found->setParent(builtIn);
        return found;
    } catch (const qx::Exception&) {
        return builtIn;
    }
}
