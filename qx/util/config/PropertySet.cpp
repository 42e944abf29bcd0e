#include "qx/util/config/PropertySet.h"

#include <utility>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/TextView.h>
#include <qx/core/detail/ResultOfFilling.h>
#include <qx/util/buffer/detail/WithUnits.h>
#include <qx/util/config/pcom/PcomPropertySet.h>
#include <qx/util/detail/ComponentText.h>

namespace qx::util {

using collections::StringHashMap;
using detail::withUnits;
using qx::detail::isExactly;

PropertySet::PropertySet() : PropertySet(nullptr) {}

PropertySet::PropertySet(const PropertySet* parent)
    : PropertySet(Reference<const PropertySet>(parent), makeReference<StringHashMap>(101, 0.75f)) {}

PropertySet::PropertySet(Reference<const PropertySet> parent, Reference<StringHashMap> values)
    : m_parent(std::move(parent)), m_values(std::move(values)) {}

PropertySet::~PropertySet() = default;

/// The value of the set or of the nearest of its parents, as far as those are exactly of this
/// class; null when none of them has it.
/// @param beyond  receives the first parent of another class, whose operations have to be called
const Object* PropertySet::find(std::u16string_view name, const PropertySet*& beyond) const {
    beyond = nullptr;
    for (const PropertySet* set = this; set; set = set->m_parent) {
        if (set != this && !isExactly(*set)) {
            beyond = set;
            break;
        }
        if (const Object* const value = set->m_values->peek(name))
            return value;
    }
    return nullptr;
}

String PropertySet::get(const String& name) const {
    // Giving the buffer back is somebody's code, behind which the value may be another one.
    if (name.isInForeignBuffer()) [[unlikely]]
        return PropertySet::get(withUnits(name, [](auto units) { return String(units); }));
    const PropertySet* beyond = nullptr;
    if (const Object* const value = find(name.view(), beyond))
        return static_cast<const String&>(*value);
    if (!beyond)
        throw withDetail(Exception(), u"no property " + name);
    return beyond->get(name);
}

bool PropertySet::hasProperty(const String& name) const {
    const PropertySet* beyond = nullptr;
    const auto lookUp = [&](std::u16string_view units) { return find(units, beyond); };
    return withUnits(name, lookUp) || (beyond && beyond->hasProperty(name));
}

String PropertySet::get(const char16_t* name) const {
    const PropertySet* beyond = nullptr;
    const Object* const value = isExactly(*this) ? find(TextView(name), beyond) : nullptr;
    return value ? static_cast<const String&>(*value) : get(String(name));
}

bool PropertySet::hasProperty(const char16_t* name) const {
    const PropertySet* beyond = this;
    if (isExactly(*this) && find(TextView(name), beyond))
        return true;
    return beyond && beyond->hasProperty(String(name));
}

void PropertySet::set(const char16_t* name, const char16_t* value) {
    if (isExactly(*this))
        m_values->put(name, makeReference<String>(value));
    else
        set(String(name), String(value));
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
