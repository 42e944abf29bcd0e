#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <utility>

#include <qx/collections/Set.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/i18n/StringBundle.h>

namespace qxtest {

/// A bundle of given texts.
class MapBundle : public qx::i18n::StringBundle {
public:
    using Texts = std::map<std::u16string, std::u16string>;

    explicit MapBundle(Texts texts, qx::i18n::Locale* locale = nullptr)
        : StringBundle(locale), m_texts(std::move(texts)) {}

    qx::String lookupString(const qx::String& key) const override {
        const auto found = m_texts.find(std::u16string(key.view()));
        return found == m_texts.end() ? qx::String() : qx::String(found->second);
    }
    qx::Reference<const qx::collections::Collection<qx::String>> getKeys() const override {
        const auto keys = qx::makeReference<qx::collections::pcom::HashSet>();
        for (const auto& [key, text] : m_texts)
            keys->add((new qx::String(key))->GetUnknown());
        return qx::makeReference<qx::collections::Set<qx::String>>(keys.get());
    }

private:
    const Texts m_texts;
};

} // namespace qxtest
