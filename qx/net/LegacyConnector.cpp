#include "qx/net/LegacyConnector.h"

#include <qx/collections/pcom/HashMap.h>
#include <qx/core/Exception.h>
#include <qx/net/detail/HandOut.h>
#include <qx/util/detail/ComponentText.h>

using qx::String;

CQXAbstractConnector::CQXAbstractConnector()
    : m_properties(qx::makeReference<Properties>(new qx::collections::pcom::HashMap(101, 0.75F))) {}

CQXAbstractConnector::~CQXAbstractConnector() = default;

int32_t CQXAbstractConnector::Connect(const char16_t* /*target*/, const qx::GUID& iid, void** out) {
    return qx::net::detail::handOut(iid, out, [this] { return connect(); });
}

int32_t CQXAbstractConnector::SetProperty(const char16_t* name, const char16_t* value) {
    if (!name || !value)
        return qx::result::NullPointer;
    return qx::resultOf([&] { setProperty(String(name), String(value)); });
}

int32_t CQXAbstractConnector::GetProperty(const char16_t* name, IQXCharBuffer* out) {
    if (!name)
        return qx::result::NullPointer;
    return qx::util::detail::writeText(out, [&] { return getProperty(String(name)); });
}

void CQXAbstractConnector::setProperty(const String& name, const String& value) {
    // Not the texts themselves: they may lie in memory that somebody else changes.
    const auto key = qx::makeReference<String>(name, String::AM_COPY);
    const auto text = qx::makeReference<String>(value, String::AM_COPY);
    m_properties->put(key, text);
}

String CQXAbstractConnector::getProperty(const String& name) const {
    const auto value = m_properties->get(&name);
    if (!value)
        throw qx::withDetail(qx::Exception(String(u"Property Not Found.")), name);
    return *value;
}

bool CQXAbstractConnector::hasProperty(const String& name) const {
    return m_properties->containsKey(&name);
}
