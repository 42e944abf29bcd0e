#include "qx/i18n/StringMapBundle.h"

#include <mutex>
#include <vector>

#include <qx/collections/Set.h>
#include <qx/core/Result.h>
#include <qx/core/detail/ResultOfFilling.h>
#include <qx/util/buffer/CopyCharBuffer.h>

namespace qx::i18n {

struct StringMapBundle::Keys {
    explicit Keys(const collections::StringHashMap& values) : set(values.createKeySet()) {
        for (auto& key : *set)
            inOrder.push_back(key);
    }

    Reference<const collections::Set<String>> set;
    std::vector<Reference<String>> inOrder;
};

StringMapBundle::StringMapBundle(const collections::StringHashMap* values, Locale* locale)
    : StringBundle(locale), m_values(values), m_lock("StringMapBundle::m_lock") {
    if (!values)
        throwResult(result::NullPointer, u"no map");
}

StringMapBundle::~StringMapBundle() = default;

String StringMapBundle::lookupString(const String& key) const {
    const Reference<Object> value = m_values->get(key);
    return value ? value->toString() : String();
}

const StringMapBundle::Keys& StringMapBundle::keys() const {
    const std::lock_guard guard(m_lock);
    if (!m_keys)
        m_keys = std::make_unique<const Keys>(*m_values);
    return *m_keys;
}

Reference<const collections::Collection<String>> StringMapBundle::getKeys() const {
    return Reference<const collections::Collection<String>>(keys().set);
}

int32_t StringMapBundle::GetCount(int32_t* count) {
    return qx::detail::resultOfStoring(
        count, [this] { return static_cast<int32_t>(keys().inOrder.size()); });
}

int32_t StringMapBundle::GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) {
    return resultOf([&] {
        if (!key || !text)
            return result::NullPointer;
        const auto& names = keys().inOrder;
        if (index < 0 || static_cast<size_t>(index) >= names.size())
            return result::InvalidArgument;
        const String& name = *names[static_cast<size_t>(index)];
        const String found = lookupString(name);
        QXCopyCharBuffer(key, &name);
        QXCopyCharBuffer(text, &found);
        return result::Ok;
    });
}

} // namespace qx::i18n
