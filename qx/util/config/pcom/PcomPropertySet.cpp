#include "qx/util/config/pcom/PcomPropertySet.h"

#include <string>

#include <qx/collections/Set.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/util/detail/ComponentText.h>

namespace qx::util::pcom {

using detail::textOf;
using qx::detail::takeInterface;

namespace {

bool canCross(const String& name) { return name.indexOf(u'\0') < 0; }

/// A name as the interface takes it.
std::u16string unitsOf(const String& name) {
    if (!canCross(name))
        throwResult(result::InvalidArgument, u"a 0 unit inside a name");
    return std::u16string(name.view());
}

} // namespace

PcomPropertySet::PcomPropertySet(const IPropertySet* target, const PropertySet* parent)
    : PropertySet(parent), m_target(required(target)) {}

String PcomPropertySet::get(const String& name) const {
    Reference<IQXCharBuffer> value;
    throwIfFailedOf(tryGet(name, value), name);
    return textOf(value);
}

bool PcomPropertySet::hasProperty(const String& name) const {
    Reference<IQXCharBuffer> value;
    return canCross(name) && tryGet(name, value) >= 0;
}

void PcomPropertySet::set(const String& name, const String& value) {
    // The other module may keep the object: it gets one with a text of its own.
    const auto text = makeReference<String>(value, String::AM_COPY);
    throwIfFailedOf(m_target->Set(unitsOf(name).c_str(), text->GetUnknown()), name);
}

String PcomPropertySet::remove(const String& name) {
    const std::u16string units = unitsOf(name);
    Reference<IQXCharBuffer> value;
    const int32_t code = takeInterface(value, [&](const GUID& iid, void** out) {
        return m_target->Remove(units.c_str(), iid, out);
    });
    return code >= 0 ? textOf(value) : String();
}

void PcomPropertySet::clear() {
    const auto names = getKeys();
    for (const auto& name : *names)
        remove(*name);
}

Reference<const collections::Set<String>> PcomPropertySet::getKeys() const {
    Reference<IKeyIterator> names;
    throwIfFailed(takeInterface(
        names, [this](const GUID& iid, void** out) { return m_target->GetKeyIterator(iid, out); }));
    const auto keys = makeReference<collections::Set<String>>();
    for (int16_t hasNext = 0; throwIfFailed(names->HasNext(&hasNext)), hasNext != 0;) {
        Reference<IQXCharBuffer> name;
        throwIfFailed(takeInterface(
            name, [&](const GUID& iid, void** out) { return names->Next(iid, out); }));
        keys->add(textOf(name));
    }
    return keys;
}

int32_t PcomPropertySet::tryGet(const String& name, Reference<IQXCharBuffer>& value) const {
    const std::u16string units = unitsOf(name);
    return takeInterface(
        value, [&](const GUID& iid, void** out) { return m_target->Get(units.c_str(), iid, out); });
}

} // namespace qx::util::pcom
