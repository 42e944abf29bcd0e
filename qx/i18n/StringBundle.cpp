#include "qx/i18n/StringBundle.h"

#include <algorithm>
#include <optional>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/core/detail/ResultOfFilling.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/i18n/BundleName.h>
#include <qx/i18n/ComStringBundle.h>
#include <qx/platform/module.h>
#include <qx/platform/text.h>
#include <qx/util/buffer/CopyCharBuffer.h>
#include <qx/util/detail/ComponentText.h>

namespace qx::i18n {

using namespace qx::literals;

namespace {

[[noreturn]] void throwNotFound(const String& name) {
    throw withDetail(Exception(u"Resource not found"_qs), name);
}

/// The bundle's keys. Whoever derives from StringBundle may fail to give them.
Reference<const collections::Collection<String>> keysOf(const StringBundle& bundle) {
    auto keys = bundle.getKeys();
    if (!keys)
        throwResult(result::Fail, u"a bundle without keys");
    return keys;
}

/// The bundle that is offered under exactly this name, or null.
Reference<StringBundle> tryComponent(const BundleName& name) {
    const String progId = name.componentName();
    if (progId.contains(u'\0')) // the component of a part of the name is another one
        return nullptr;
    GUID classId;
    Reference<IQXResourceBundle> component;
    if (QXComClassIDFromProgID(progId.getData(), &classId) < 0 ||
        qx::detail::takeInterface(component, [&classId](const GUID& iid, void** out) {
            return QXModuleComCreateObject(libraryIdentity(), &classId, nullptr, &iid, out);
        }) < 0)
        return nullptr;
    return makeReference<ComStringBundle>(component,
                                          makeReference<Locale>(name.localeName.getData()));
}

/// The bundle for the locale or what is more general, or null.
Reference<StringBundle> tryLocale(const String& baseName, const Locale& locale) {
    Reference<StringBundle> found;
    for (std::optional name(BundleName{baseName, locale.toString()}); name && !found;
         name = name->generalized())
        found = tryComponent(*name);
    return found;
}

} // namespace

Reference<StringBundle> StringBundle::getBundle(const String& baseName, const Locale* locale) {
    Reference<StringBundle> found;
    if (locale)
        found = tryLocale(baseName, *locale);
    if (!found)
        found = tryLocale(baseName, *Locale::getDefault());
    if (!found)
        found = tryLocale(baseName, Locale(u"en_US"));
    if (!found)
        throwNotFound(baseName);
    return found;
}

String StringBundle::getString(const String& key) const {
    for (const StringBundle* bundle = this; bundle; bundle = bundle->m_parent) {
        String text = bundle->lookupString(key);
        if (!text.isEmpty())
            return text;
    }
    throwNotFound(key);
}

void StringBundle::setParent(StringBundle* parent) {
    Reference<StringBundle> held(parent);
    for (const StringBundle* bundle = parent; bundle; bundle = bundle->m_parent) {
        if (bundle == this)
            throwResult(result::InvalidArgument, u"a bundle cannot be its own parent");
    }
    m_parent.swap(held);
}

int32_t StringBundle::LoadCharBuffer(const char16_t* key, IQXCharBuffer* text) {
    if (!key)
        return result::NullPointer;
    return util::detail::writeText(text, [&] { return getString(String(key)); });
}

int32_t StringBundle::LoadStringW(const char16_t* key, char16_t* text, int32_t* length) {
    if (!length)
        return result::NullPointer;
    const int32_t room = *length;
    *length = 0;
    return resultOf([&] {
        if (!key || !text)
            return result::NullPointer;
        if (room < 0)
            return result::InvalidArgument;
        const String found = getString(String(key));
        const String units(found, String::AM_COPY); // with a 0 unit behind them
        QXStrNCpyW(text, units.getData(), room);
        *length = std::min(room, units.getLength() + 1);
        return result::Ok;
    });
}

int32_t StringBundle::GetCount(int32_t* count) {
    return qx::detail::resultOfStoring(count, [this] { return keysOf(*this)->getSize(); });
}

int32_t StringBundle::GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) {
    return resultOf([&] {
        if (!key || !text)
            return result::NullPointer;
        const auto keys = keysOf(*this);
        if (index < 0 || index >= keys->getSize())
            return result::InvalidArgument;
        const auto iterator = keys->createConstIterator();
        Reference<String> name = iterator->next();
        for (int32_t i = 0; i < index; ++i)
            name = iterator->next();
        if (!name)
            throwResult(result::Fail, u"a bundle with a null key");
        const String found = lookupString(*name);
        QXCopyCharBuffer(key, name.get());
        QXCopyCharBuffer(text, &found);
        return result::Ok;
    });
}

int32_t StringBundle::GetLocale(IQXLocale** locale) {
    if (!locale)
        return result::NullPointer;
    *locale = Reference<Locale>(m_locale).detach();
    return result::Ok;
}

} // namespace qx::i18n
