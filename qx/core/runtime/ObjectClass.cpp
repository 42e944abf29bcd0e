#include "qx/core/Object.h"

#include <typeinfo>

#include <qx/core/detail/ClassName.h>
#include <qx/core/runtime/Class.h>

namespace qx {

const Class* Object::getClass() const { return Class::forType(&typeid(*this)); }

const char16_t* classNameOf(const Object& object) noexcept {
    try {
        return object.getClass()->getName();
    } catch (...) { // not registered, or no memory to say so
        return u"Object";
    }
}

} // namespace qx
