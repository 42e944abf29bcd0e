#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

#include <qx/platform/posix/net/socketnumbers.h>

namespace qx::platform {

// Apart from the number of the IPv6 family, the described addresses are laid out as the system's.
static_assert(sizeof(qx_sockaddr_in) == sizeof(sockaddr_in));
static_assert(sizeof(qx_sockaddr_in6) == sizeof(sockaddr_in6));
static_assert(offsetof(qx_sockaddr_in6, scopeId) == offsetof(sockaddr_in6, sin6_scope_id));
static_assert(sizeof(qx_sockaddr_union) == sizeof(sockaddr_storage));

/// A socket address in the system's form.
struct SystemAddress {
    sockaddr_storage storage{};
    socklen_t length = sizeof(sockaddr_storage);

    sockaddr* get() noexcept { return reinterpret_cast<sockaddr*>(&storage); }
    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// Length of an address of a family of the system; 0 for one that the interface does not know.
inline socklen_t addressLength(int family) noexcept {
    return family == AF_INET ? sizeof(sockaddr_in) : family == AF_INET6 ? sizeof(sockaddr_in6) : 0;
}

/// Translates an address of the interface: 0, or the errno value of what is wrong with it.
inline int toSystem(const qx_sockaddr_union* address, int32_t length, SystemAddress& out) noexcept {
    if (address == nullptr || length < static_cast<int32_t>(sizeof address->family))
        return EFAULT;
    const int family = systemFamily(address->family);
    out.length = addressLength(family);
    if (out.length == 0)
        return EAFNOSUPPORT;
    if (length < static_cast<int32_t>(out.length))
        return EFAULT;
    std::memcpy(&out.storage, address, out.length);
    out.storage.ss_family = static_cast<sa_family_t>(family);
    return 0;
}

/// Translates an address of the system, of which at most @p capacity bytes are stored; its length.
inline int32_t fromSystem(const SystemAddress& address, qx_sockaddr_union* out,
                          int32_t capacity) noexcept {
    qx_sockaddr_union whole{};
    const size_t length = addressLength(address.storage.ss_family);
    std::memcpy(&whole, &address.storage, length);
    whole.family = interfaceFamily(address.storage.ss_family);
    if (capacity > 0)
        std::memcpy(out, &whole, std::min(length, static_cast<size_t>(capacity)));
    return static_cast<int32_t>(length);
}

} // namespace qx::platform
