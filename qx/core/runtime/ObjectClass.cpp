#include "qx/core/Object.h"

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/detail/ClassName.h>
#include <qx/core/runtime/Class.h>

namespace qx {

const Class* Object::getClass() const { return Class::forType(detail::typeOf(this)); }

const char16_t* classNameOf(const Object& object) noexcept {
    try {
        return object.getClass()->getName();
    } catch (...) { // not registered, or no memory to say so
        return u"Object";
    }
}

String typeNameOf(const Object& object) {
    try {
        return String(object.getClass()->getName());
    } catch (const ClassNotFoundException& unregistered) {
        return unregistered.getDescription();
    }
}

void throwNotCloneable(const Object& object) {
    throw CloneNotSupportedException(typeNameOf(object) + u" cannot be copied");
}

} // namespace qx
