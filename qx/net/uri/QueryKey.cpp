#include "qx/net/uri/QueryKey.h"

#include <qx/core/CastTo.h>
#include <qx/core/Required.h>
#include <qx/core/TypeName.h>

namespace qx::net {

QueryKey* QueryKey::clone() const { return new QueryKey(*this); }

int QueryKey::compareTo(const Object& other) const {
    if (const auto* const text = castTo<const String>(&other))
        return getLowerCase().compare(*text, true);
    throwCastFailed(typeName<String>());
}

bool QueryKey::equals(const Object& other) const {
    const auto* const text = castTo<const String>(&other);
    return text && getLowerCase().equals(TextView(*text), true);
}

uint32_t QueryKey::hashCode() const { return getLowerCase().String::hashCode(); }

const String& QueryKey::getLowerCase() const {
    // Lower case keeps the number of units.
    if (m_lowerCase.getLength() != getLength()) {
        String lowerCase(view());
        m_lowerCase.swap(lowerCase.toLower());
    }
    return m_lowerCase;
}

} // namespace qx::net
