#include "qx/collections/Comparator.h"

#include <typeinfo>

#include <qx/collections/detail/NaturalOrder.h>
#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/core/TypeName.h>
#include <qx/core/detail/ResultOfFilling.h>

namespace qx::util {

using collections::detail::comparableOf;

int32_t Comparator::Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) {
    return qx::detail::resultOfFilling(result, [&] {
        return collections::detail::compareNaturally(a, comparableOf(a), b, result);
    });
}

int32_t Comparator::Hash(const IQXUnknown* a, uint32_t* result) {
    return qx::detail::resultOfFilling(result, [&]() -> int32_t {
        if (const auto comparable = comparableOf(a))
            return comparable->HashCode(result);
        *result = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(a));
        return result::Ok;
    });
}

int Comparator::compareTo(const Object& other) const {
    if (!equals(other))
        throwCastFailed(typeName<Comparator>());
    return 0;
}

bool Comparator::equals(const Object& other) const {
    const std::type_info* const type = qx::detail::typeOf(this);
    const std::type_info* const otherType = qx::detail::typeOf(&other);
    return type && otherType ? *type == *otherType : this == &other;
}

uint32_t Comparator::hashCode() const {
    const std::type_info* const type = qx::detail::typeOf(this);
    return type ? static_cast<uint32_t>(type->hash_code()) : Object::hashCode();
}

int Comparator::compare(const Object& a, const Object& b) const { return a.compareTo(b); }

uint32_t Comparator::hash(const Object& a) const { return a.hashCode(); }

} // namespace qx::util
