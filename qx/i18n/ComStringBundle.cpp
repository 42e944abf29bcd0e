#include "qx/i18n/ComStringBundle.h"

#include <qx/collections/Set.h>
#include <qx/core/Result.h>

namespace qx::i18n {

ComStringBundle::ComStringBundle(IQXResourceBundle* component, Locale* locale)
    : StringBundle(locale), m_component(component) {
    if (!component)
        throwResult(result::NullPointer, u"no component");
}

String ComStringBundle::lookupString(const String& key) const {
    const String units(key, String::AM_COPY); // with a 0 unit behind them
    String text;
    if (units.contains(u'\0'))
        return text;
    const int32_t loaded = m_component->LoadCharBuffer(units.getData(), &text);
    if (loaded == result::OutOfMemory)
        throwResult(loaded);
    return loaded < 0 ? String() : text;
}

Reference<const collections::Collection<String>> ComStringBundle::getKeys() const {
    const auto keys = makeReference<collections::Set<String>>();
    int32_t count = 0;
    throwIfFailed(m_component->GetCount(&count));
    String text;
    for (int32_t i = 0; i < count; ++i) {
        const auto key = makeReference<String>();
        throwIfFailed(m_component->GetResource(i, key.get(), &text));
        keys->add(key.get());
    }
    return keys;
}

int32_t ComStringBundle::GetCount(int32_t* count) { return m_component->GetCount(count); }

int32_t ComStringBundle::GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) {
    return m_component->GetResource(index, key, text);
}

} // namespace qx::i18n
