#include "qx/core/Object.h"

#include <functional>
#include <ostream>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Implements.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/String.h>
#include <qx/core/detail/ClassName.h>
#include <qx/core/detail/ExactClone.h>
#include <qx/core/detail/ResultOfFilling.h>
#include <qx/platform/text.h>

namespace qx {

namespace {

int addressOrder(const void* left, const void* right) {
    return std::less<>()(right, left) - std::less<>()(left, right);
}

/// The Object behind @p other, which is compared with @p own; null when there is none.
const Object* objectBeside(const Object& own, const IQXUnknown* other) {
    // Most of what is compared is of one class, whose objects need not be asked.
    if (other && detail::functionTableOf(other) == detail::functionTableOf(own.GetUnknown()))
        return static_cast<const Object*>(static_cast<const ComObject*>(other));
    return castTo<const Object>(pcom::comObjectOf(other));
}

} // namespace

int32_t Object::QueryInterface(const GUID& iid, void** out) {
    return pcom::QueryInterfaceMap(GetComIntfMap(), this, iid, out);
}

Object* Object::clone() const { return detail::exactClone(*this); }

int Object::compareTo(const Object& other) const { return addressOrder(this, &other); }

bool Object::equals(const Object& other) const { return this == &other; }

uint32_t Object::hashCode() const {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(this));
}

String Object::toString() const {
    char16_t digits[66];
    QXLToStrW(int64_t{hashCode()}, digits, 16);
    String text(classNameOf(*this));
    text.append(u"@");
    text.append(digits);
    return text;
}

int32_t Object::CompareTo(const IQXUnknown* other, int* result) {
    return detail::resultOfStoring(result, [&] {
        const auto* const object = other == GetUnknown() ? this : objectBeside(*this, other);
        return object ? compareTo(*object) : addressOrder(other, GetUnknown());
    });
}

int32_t Object::HashCode(uint32_t* result) {
    return detail::resultOfStoring(result, [this] { return hashCode(); });
}

const pcom::InterfaceData* Object::GetComIntfMap() {
    static const pcom::InterfaceData map[] = {
        pcom::subObjectRow<Object, IQXComparable>(),
        {nullptr, pcom::InterfaceData::End, 0},
    };
    return map;
}

std::ostream& operator<<(std::ostream& out, const Object& object) {
    return out << object.toString();
}

} // namespace qx
