// What a String does as an object.

#include <typeinfo>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/core/detail/SampledHash.h>
#include <qx/platform/text.h>

namespace qx {

String* String::clone() const {
    if (typeid(*this) != typeid(String))
        throw CloneNotSupportedException();
    return new String(*this);
}

int String::compareTo(const Object& other) const {
    if (this == &other)
        return 0;
    if (const auto* const string = dynamic_cast<const String*>(&other))
        return compare(*string);
    throw CastFailedException();
}

bool String::equals(const Object& other) const {
    const auto* const string = dynamic_cast<const String*>(&other);
    return string && *this == *string;
}

uint32_t String::hashCode() const { return detail::sampledHash(view()); }

uint32_t String::hashCode(bool ignoreCase) const {
    return ignoreCase ? detail::sampledHash(view(), QXToLowerW) : detail::sampledHash(view());
}

String String::toString() const { return *this; }

} // namespace qx
