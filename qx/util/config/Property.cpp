#include "qx/util/config/Property.h"

#include <typeinfo>
#include <utility>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Implements.h>
#include <qx/core/Number.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Result.h>
#include <qx/core/detail/ResultOfFilling.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/util/buffer/CopyCharBuffer.h>
#include <qx/util/detail/ComponentText.h>

using qx::Exception;
using qx::Object;
using qx::resultOf;
using qx::String;
using qx::detail::resultOfFilling;
using qx::detail::resultOfStoring;
using qx::util::detail::notOffered;
using qx::util::detail::writeText;
namespace result = qx::result;

namespace {

/// The value as a number; null for any other, and at once for a text, as most values are.
const qx::Number* numberIn(const Object& value) {
    const std::type_info* const type = qx::detail::typeOf(&value);
    return type && *type == typeid(String) ? nullptr : castTo<const qx::Number>(&value);
}

} // namespace

CQXProperty::CQXProperty(const String& key, const String& value) : m_key(key.view()) { set(value); }
CQXProperty::CQXProperty(const String& key, int32_t value) : m_key(key.view()) { set(value); }
CQXProperty::CQXProperty(const String& key, double value) : m_key(key.view()) { set(value); }
CQXProperty::CQXProperty(const String& key, Object* value) : m_key(key.view()) { set(value); }
CQXProperty::~CQXProperty() = default;

CQXSmartPtr<Object> CQXProperty::getValue() const {
    if (!m_object)
        throw withDetail(Exception(String(u"Value is not a CQXObject")), m_key);
    return m_object;
}

String CQXProperty::getValueString() const { return getValue()->toString(); }

int32_t CQXProperty::getValueLong() const {
    const CQXSmartPtr<Object> value = getValue();
    const auto* const number = numberIn(*value);
    return number ? number->toInt32() : qx::Number::parseInt(value->toString());
}

double CQXProperty::getValueDouble() const {
    const CQXSmartPtr<Object> value = getValue();
    const auto* const number = numberIn(*value);
    return number ? number->toDouble() : qx::Number::parseDouble(value->toString());
}

void CQXProperty::set(const String& value) {
    // Not the text itself: it may lie in memory or in a buffer that somebody else changes.
    set(qx::makeReference<String>(value, String::AM_COPY).get());
}

void CQXProperty::set(int32_t value) {
    set(qx::makeReference<String>(String::valueOf(value)).get());
}

void CQXProperty::set(double value) {
    set(qx::makeReference<String>(String::valueOf(value)).get());
}

void CQXProperty::set(Object* value) {
    m_object = value;
    m_value = value ? value->GetUnknown() : nullptr;
}

int32_t CQXProperty::QueryInterface(const qx::GUID& iid, void** out) {
    return qx::pcom::QueryInterfaceMap(GetComIntfMap(), this, iid, out);
}

const qx::pcom::InterfaceData* CQXProperty::GetComIntfMap() {
    using namespace qx::pcom;
    static const InterfaceData map[] = {
        subObjectRow<CQXProperty, IQXProperty>(),
        subObjectRow<CQXProperty, IQXProperty2>(),
        chainRow<Object>(),
        {nullptr, InterfaceData::End, 0},
    };
    return map;
}

int32_t CQXProperty::GetKey(IQXCharBuffer* key) const {
    return writeText(key, [this] { return m_key; });
}

int32_t CQXProperty::GetValueString(IQXCharBuffer* value) const {
    return writeText(value, [this] { return getValueString(); });
}

int32_t CQXProperty::GetValueLong(int32_t* value) const {
    return resultOfStoring(value, [this] { return getValueLong(); });
}

int32_t CQXProperty::GetValueDouble(double* value) const {
    return resultOfStoring(value, [this] { return getValueDouble(); });
}

int32_t CQXProperty::SetValueString(const char16_t* value) {
    return resultOf([&] { set(String(value)); });
}

int32_t CQXProperty::SetValueLong(int32_t value) {
    return resultOf([&] { set(value); });
}

int32_t CQXProperty::SetValueDouble(double value) {
    return resultOf([&] { set(value); });
}

int32_t CQXProperty::GetValue(const qx::GUID& iid, void** out) const {
    return resultOfFilling(out, [&] {
        return m_value ? qx::detail::passInterface(*m_value, iid, out) : result::NoInterface;
    });
}

int32_t CQXProperty::SetValue(IQXUnknown* value) {
    if (!value)
        return result::NoInterface;
    return resultOf([&] {
        CQXSmartPtr<IQXUnknown> kept(value);
        m_object = qx::pcom::objectBehind<Object>(value);
        m_value = std::move(kept);
    });
}

CQXSmartPtr<Object> CQXPropertySet::getValue(const String& name) const {
    return requireProperty(name)->getValue();
}

String CQXPropertySet::getValueString(const String& name) const {
    return requireProperty(name)->getValueString();
}

int32_t CQXPropertySet::getValueLong(const String& name) const {
    return requireProperty(name)->getValueLong();
}

double CQXPropertySet::getValueDouble(const String& name) const {
    return requireProperty(name)->getValueDouble();
}

void CQXPropertySet::set(const String& name, const String& value) {
    requirePropertyToSet(name)->set(value);
}

void CQXPropertySet::set(const String& name, int32_t value) {
    requirePropertyToSet(name)->set(value);
}

void CQXPropertySet::set(const String& name, double value) {
    requirePropertyToSet(name)->set(value);
}

void CQXPropertySet::set(const String& name, Object* value) {
    const CQXSmartPtr<Object> held(value); // goes even when the property cannot be had
    requirePropertyToSet(name)->set(value);
}

int32_t CQXPropertySet::QueryInterface(const qx::GUID& iid, void** out) {
    return qx::pcom::QueryInterfaceMap(GetComIntfMap(), this, iid, out);
}

const qx::pcom::InterfaceData* CQXPropertySet::GetComIntfMap() {
    using namespace qx::pcom;
    static const InterfaceData map[] = {
        subObjectRow<CQXPropertySet, IQXPropertySet>(),
        subObjectRow<CQXPropertySet, IQXPropertySet2>(),
        chainRow<Object>(),
        {nullptr, InterfaceData::End, 0},
    };
    return map;
}

int32_t CQXPropertySet::SetString(const char16_t* name, const char16_t* value) {
    return resultOf([&] { set(String(name), String(value)); });
}

int32_t CQXPropertySet::GetString(const char16_t* name, IQXCharBuffer* value) const {
    return writeText(value, [&] { return getValueString(String(name)); });
}

int32_t CQXPropertySet::SetLong(const char16_t* name, int32_t value) {
    return resultOf([&] { set(String(name), value); });
}

int32_t CQXPropertySet::GetLong(const char16_t* name, int32_t* value) const {
    return resultOfStoring(value, [&] { return getValueLong(String(name)); });
}

int32_t CQXPropertySet::SetDouble(const char16_t* name, double value) {
    return resultOf([&] { set(String(name), value); });
}

int32_t CQXPropertySet::GetDouble(const char16_t* name, double* value) const {
    return resultOfStoring(value, [&] { return getValueDouble(String(name)); });
}

int32_t CQXPropertySet::GetCount(int32_t* count) const { return notOffered(count); }

int32_t CQXPropertySet::GetProperty(const char16_t*, IQXProperty** property) const {
    return notOffered(property);
}

int32_t CQXPropertySet::GetParent(IQXPropertySet** parent) const { return notOffered(parent); }

int32_t CQXPropertySet::Set(const char16_t* name, IQXUnknown* value) {
    if (!value)
        return result::NoInterface;
    return resultOf([&] { return requirePropertyToSet(String(name))->SetValue(value); });
}

int32_t CQXPropertySet::Get(const char16_t* name, const qx::GUID& iid, void** out) const {
    return resultOfFilling(out, [&] { return requireProperty(String(name))->GetValue(iid, out); });
}

int32_t CQXPropertySet::GetProperty2(const char16_t*, const qx::GUID&, void** out) const {
    return notOffered(out);
}

int32_t CQXPropertySet::GetParent2(const qx::GUID&, void** out) const { return notOffered(out); }

CQXSmartPtr<const CQXProperty> CQXPropertySet::requireProperty(const String& name) const {
    auto property = getProperty(name);
    if (!property)
        throw withDetail(Exception(), u"no property " + name);
    return property;
}

CQXSmartPtr<CQXProperty> CQXPropertySet::requirePropertyToSet(const String& name) {
    auto property = getPropertyToSet(name);
    if (!property)
        throw withDetail(Exception(), u"no property " + name);
    return property;
}
