#pragma once

#include <qx/net/socketerror.h>

namespace qx::net {

/// Calls a member of an object of the C interface, which may be null.
template <class Object, class Member, class... Arguments>
ENUM_QX_E_SOCKET forward(Object* object, Member member, Arguments... arguments) {
    return object != nullptr ? (object->*member)(arguments...) : QX_E_SOCKET_EINVAL;
}

} // namespace qx::net
