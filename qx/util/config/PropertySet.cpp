#include "qx/util/config/PropertySet.h"

#include <utility>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/detail/ResultOfFilling.h>
#include <qx/util/config/pcom/PcomPropertySet.h>
#include <qx/util/detail/ComponentText.h>

namespace qx::util {

using collections::StringHashMap;

PropertySet::PropertySet() : PropertySet(nullptr) {}

PropertySet::PropertySet(const PropertySet* parent)
    : PropertySet(Reference<const PropertySet>(parent), makeReference<StringHashMap>(101, 0.75f)) {}

PropertySet::PropertySet(Reference<const PropertySet> parent, Reference<StringHashMap> values)
    : m_parent(std::move(parent)), m_values(std::move(values)) {}

PropertySet::~PropertySet() = default;

String PropertySet::get(const String& name) const {
    if (const Reference<Object> value = m_values->get(name))
        return static_cast<const String&>(*value);
    if (!m_parent)
        throw withDetail(Exception(), u"no property " + name);
    return m_parent->get(name);
}

bool PropertySet::hasProperty(const String& name) const {
    return m_values->containsKey(name) || (m_parent && m_parent->hasProperty(name));
}

void PropertySet::set(const String& name, const String& value) {
    // Not the text itself: it may lie in memory or in a buffer that somebody else changes.
    m_values->put(name, makeReference<String>(value, String::AM_COPY));
}

String PropertySet::remove(const String& name) {
    const Reference<Object> value = m_values->remove(name);
    return value ? static_cast<const String&>(*value) : String();
}

void PropertySet::clear() { m_values->clear(); }

Reference<const collections::Set<String>> PropertySet::getKeys() const {
    return m_values->createKeySet();
}

Reference<const pcom::IPropertySet> PropertySet::getPcom(const PropertySet* set) {
    if (!set)
        throwResultOf(result::NullPointer, u"no property set");
    if (const auto* const foreign = castTo<const pcom::PcomPropertySet>(set))
        return foreign->getTarget();
    return Reference<const pcom::IPropertySet>(new PropertySet(set->m_parent, set->m_values));
}

int32_t PropertySet::Set(const char16_t* name, IQXUnknown* value) const {
    // The values are not part of the object, only reached through it.
    return resultOf(
        [&] { const_cast<PropertySet*>(this)->set(String(name), detail::textOf(value)); });
}

int32_t PropertySet::Get(const char16_t* name, const GUID& iid, void** out) const {
    return qx::detail::resultOfFilling(
        out, [&] { return makeReference<String>(get(String(name)))->QueryInterface(iid, out); });
}

int32_t PropertySet::Remove(const char16_t* name, const GUID& iid, void** out) const {
    return qx::detail::resultOfFilling(out, [&] {
        const auto text = makeReference<String>();
        Reference<IQXUnknown> face; // before anything is removed: it may not be there
        throwIfFailed(text->QueryInterface(iid, face.putVoid()));
        *text = const_cast<PropertySet*>(this)->remove(String(name));
        *out = face.detach();
    });
}

int32_t PropertySet::GetKeyIterator(const GUID&, void** out) const {
    return detail::notOffered(out);
}

} // namespace qx::util
