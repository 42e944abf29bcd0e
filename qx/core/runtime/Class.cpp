#include "qx/core/runtime/Class.h"

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/detail/ReadableName.h>
#include <qx/core/runtime/ClassManager.h>

namespace qx {

namespace {

[[noreturn]] void throwNoSuchClass(const String& name) {
    throw withDetail(ClassNotFoundException(name), String(u"no such class"));
}

} // namespace

const char16_t* Class::getName() const { return m_name; }

bool Class::isInstance(const Object& object) const {
    const std::type_info* const type = detail::typeOf(&object);
    return type && *type == *m_type;
}

Object* Class::createInstance() const {
    if (!m_creator)
        throw IllegalAccessException(u"no creator for " + String(m_name));
    return m_creator();
}

const Class* Class::forName(const char16_t* name) {
    const Class* const found = name ? ClassManager::getInstance()->lookupName(name) : nullptr;
    if (!found)
        throwNoSuchClass(String(name));
    return found;
}

const Class* Class::forType(const std::type_info* type) {
    const Class* const found = type ? ClassManager::getInstance()->lookupType(type) : nullptr;
    if (!found)
        throwNoSuchClass(String(detail::readableName(type).c_str()));
    return found;
}

void throwCastFailed(std::string_view wanted) {
    throw CastFailedException(u"not a " + String::fromUtf8(wanted));
}

void pcom::throwNoInterface(int32_t code, std::string_view wanted) {
    throwResultOf(code < 0 ? code : result::NoInterface, String::fromUtf8(wanted));
}

} // namespace qx
