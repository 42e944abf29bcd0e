#include "Messages.h"

#include <qx/collections/List.h>
#include <qx/collections/StringHashMap.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/StringMapBundle.h>
#include <qx/log/Logger.h>

namespace collector {

using qx::makeReference;
using qx::Reference;
using qx::String;
using qx::i18n::Locale;
using qx::i18n::StringBundle;

namespace {

Reference<StringBundle> builtInMessages() {
    const auto texts = makeReference<qx::collections::StringHashMap>();
    const auto add = [&](const char16_t* key, const char16_t* text) {
        texts->put(key, makeReference<String>(text));
    };
    add(u"service.started", u"listening on {0}");
    add(u"service.reopened", u"opened anew");
    add(u"service.stopping", u"stopping, {0} connections are open");
    add(u"service.stopped", u"stopped, <{0}> lines & no more");
    add(u"client.busy", u"{0} turned away, all connections are taken");
    add(u"client.refused", u"{0} refused: {1}");
    add(u"client.idle", u"{0} has sent no line for {1} ms");
    return makeReference<qx::i18n::StringMapBundle>(texts, makeReference<Locale>(u"en", nullptr));
}

} // namespace

Reference<StringBundle> findMessages(const String& localeName) {
    auto builtIn = builtInMessages();
    const Locale locale(localeName.getData());
    try {
        auto found = StringBundle::getBundle(u"Service", localeName.isEmpty() ? nullptr : &locale);
        found->setParent(builtIn);
        return found;
    } catch (const qx::Exception&) {
        return builtIn;
    }
}

Journal::Journal(const String& locale, qx::log::ILogProcessor* logs) {
    const auto logger = qx::log::Logger::create(u"service");
    logger->enableField(u"timestamp", true);
    logger->setProcessor(logs);
    m_logger = makeReference<qx::log::StringBundleLogger>(findMessages(locale), logger);
}

void Journal::tell(Level level, const String& key,
                   std::initializer_list<String> arguments) const noexcept {
    qx::resultOf([&] {
        qx::collections::List<qx::Object> list(
            makeReference<qx::collections::pcom::ArrayList>().get());
        for (const String& argument : arguments)
            list.add(makeReference<String>(argument));
        m_logger->log(static_cast<int>(level), key, list);
    });
}

} // namespace collector
