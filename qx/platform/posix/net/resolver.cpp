#include "qx/platform/net.h"

#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <memory>
#include <netdb.h>
#include <string_view>
#include <unistd.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/net/socketaddress.h>
#include <qx/platform/posix/net/socketnumbers.h>

namespace qx::platform {

namespace {

constexpr int32_t NoData = 11004;

constexpr NumberPair ResolverFlags[] = {
    {QX_AI_PASSIVE, AI_PASSIVE},
    {QX_AI_CANONNAME, AI_CANONNAME},
    {QX_AI_NUMERICHOST, AI_NUMERICHOST},
    {QX_AI_NUMERICSERV, AI_NUMERICSERV},
    {QX_AI_ALL, AI_ALL},
    {QX_AI_ADDRCONFIG, AI_ADDRCONFIG},
    {QX_AI_V4MAPPED, AI_V4MAPPED},
};

constexpr NumberPair NameFlags[] = {
    {QX_NI_NOFQDN, NI_NOFQDN},     {QX_NI_NUMERICHOST, NI_NUMERICHOST},
    {QX_NI_NAMEREQD, NI_NAMEREQD}, {QX_NI_NUMERICSERV, NI_NUMERICSERV},
    {QX_NI_DGRAM, NI_DGRAM},
};

/// An entry of the result with what it points to, in one block.
struct Entry {
    qx_addrinfo info;
    qx_sockaddr_union address;
    char name[1]; // as long as it needs
};

using SystemResult = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;
using Result = std::unique_ptr<qx_addrinfo, decltype(&::QXfreeaddrinfo)>;

/// A copy of one result of the system; null without memory.
qx_addrinfo* copyEntry(const addrinfo& source) {
    const std::string_view name = source.ai_canonname ? source.ai_canonname : "";
    auto* entry = static_cast<Entry*>(std::calloc(1, sizeof(Entry) + name.size()));
    if (entry == nullptr)
        return nullptr;
    SystemAddress address;
    std::memcpy(&address.storage, source.ai_addr, addressLength(source.ai_family));
    entry->info.ai_flags = 0;
    entry->info.ai_family = interfaceFamily(source.ai_family);
    entry->info.ai_socktype = source.ai_socktype;
    entry->info.ai_protocol = source.ai_protocol;
    entry->info.ai_addr = &entry->address;
    entry->info.ai_addrlen =
        static_cast<size_t>(fromSystem(address, &entry->address, sizeof entry->address));
    if (source.ai_canonname != nullptr) {
        name.copy(entry->name, name.size());
        entry->info.ai_canonname = entry->name;
    }
    return &entry->info;
}

/// Copies the results of the families that the interface knows: 0 or the number of a failure.
int32_t copyResult(const addrinfo* source, qx_addrinfo** result) {
    Result copy(nullptr, &QXfreeaddrinfo);
    qx_addrinfo* last = nullptr;
    for (; source != nullptr; source = source->ai_next) {
        if (addressLength(source->ai_family) == 0)
            continue;
        qx_addrinfo* entry = copyEntry(*source);
        if (entry == nullptr)
            return resolverErrorNumber(EAI_MEMORY);
        if (last == nullptr)
            copy.reset(entry);
        else
            last->ai_next = entry;
        last = entry;
    }
    *result = copy.release();
    return *result != nullptr ? 0 : resolverErrorNumber(EAI_NODATA);
}

/// False for a port number beyond 65535, which the system would cut.
bool isPossibleService(std::string_view service) {
    if (service.empty() || service.find_first_not_of("0123456789") != std::string_view::npos)
        return true;
    uint16_t port = 0;
    return std::from_chars(service.data(), service.data() + service.size(), port).ec == std::errc();
}

/// The hints in the system's form: 0, or an EAI value for what has none.
int toSystem(const qx_addrinfo& hints, addrinfo& out) {
    out.ai_flags = systemFlags(ResolverFlags, hints.ai_flags);
    out.ai_family = systemFamily(hints.ai_family);
    out.ai_socktype = hints.ai_socktype;
    out.ai_protocol = hints.ai_protocol;
    return out.ai_flags == -1 ? EAI_BADFLAGS : out.ai_family == -1 ? EAI_FAMILY : 0;
}

/// Writes the numeric text of an address. The scope is a number, as the described system prints it.
int numericHost(const SystemAddress& address, char* host, uint32_t capacity) {
    char text[INET6_ADDRSTRLEN + 12]; // "%" and ten digits
    const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(&address.storage);
    const auto* ipv6 = reinterpret_cast<const sockaddr_in6*>(&address.storage);
    const bool isIpv6 = address.storage.ss_family == AF_INET6;
    const void* bytes = isIpv6 ? static_cast<const void*>(&ipv6->sin6_addr) : &ipv4->sin_addr;
    ::inet_ntop(address.storage.ss_family, bytes, text, sizeof text);
    size_t length = std::strlen(text);
    if (isIpv6 && ipv6->sin6_scope_id != 0) {
        text[length++] = '%';
        const auto end = std::to_chars(text + length, text + sizeof text, ipv6->sin6_scope_id).ptr;
        length = static_cast<size_t>(end - text);
    }
    if (length >= capacity)
        return EAI_OVERFLOW;
    std::memcpy(host, text, length);
    host[length] = 0;
    return 0;
}

/// Runs a function of the resolver again when a signal has interrupted it.
template <class Call>
int resolve(Call&& call) {
    for (;;) {
        errno = 0;
        const int result = call();
        if (result != EAI_SYSTEM || errno != EINTR)
            return result;
    }
}

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXgetaddrinfo(const char* host, const char* service, const qx_addrinfo* hints,
                      qx_addrinfo** result) {
    *result = nullptr;
    addrinfo systemHints{};
    if (hints != nullptr) {
        if (const int error = toSystem(*hints, systemHints))
            return resolverErrorNumber(error);
    }
    if (service != nullptr && !isPossibleService(service))
        return resolverErrorNumber(EAI_SERVICE);
    addrinfo* found = nullptr;
    const int error = resolve([&] { return ::getaddrinfo(host, service, &systemHints, &found); });
    const SystemResult owner(error == 0 ? found : nullptr, &::freeaddrinfo);
    return error != 0 ? resolverErrorNumber(error) : copyResult(found, result);
}

void QXfreeaddrinfo(qx_addrinfo* result) {
    while (result != nullptr) {
        qx_addrinfo* next = result->ai_next;
        std::free(result);
        result = next;
    }
}

int32_t QXSocketGetNameInfo(const qx_sockaddr_union* address, int32_t length, char* host,
                            uint32_t hostCapacity, char* service, uint32_t serviceCapacity,
                            int32_t flags) {
    SystemAddress place;
    if (const int error = toSystem(address, length, place))
        return error == EAFNOSUPPORT ? resolverErrorNumber(EAI_FAMILY) : socketErrorNumber(error);
    const int nameFlags = systemFlags(NameFlags, flags);
    if (nameFlags == -1)
        return resolverErrorNumber(EAI_BADFLAGS);
    // The C library takes a buffer without room for one that is not wanted.
    if ((host != nullptr && hostCapacity == 0) || (service != nullptr && serviceCapacity == 0))
        return resolverErrorNumber(EAI_OVERFLOW);
    const bool isNumeric = (flags & QX_NI_NUMERICHOST) != 0;
    if (host != nullptr && isNumeric) {
        if (const int error = numericHost(place, host, hostCapacity))
            return resolverErrorNumber(error);
    }
    char* const nameBuffer = isNumeric ? nullptr : host;
    if (nameBuffer == nullptr && service == nullptr)
        return host != nullptr ? 0 : resolverErrorNumber(EAI_NONAME);
    return resolverErrorNumber(resolve([&] {
        return ::getnameinfo(place.get(), place.length, nameBuffer,
                             nameBuffer != nullptr ? hostCapacity : 0, service, serviceCapacity,
                             nameFlags);
    }));
}

int32_t QXSocketServicePort(const char* service, const char* protocol, uint16_t* port) {
    *port = 0;
    if (service == nullptr || protocol == nullptr)
        return socketFailed(EFAULT);
    servent entry{};
    servent* found = nullptr;
    char buffer[8192];
    const int error = callCLibrary([&] {
        return ::getservbyname_r(service, protocol, &entry, buffer, sizeof buffer, &found);
    });
    if (found == nullptr)
        return error == 0 || error == ENOENT ? socketFailedWith(NoData) : socketFailed(error);
    *port = ntohs(static_cast<uint16_t>(found->s_port));
    return 0;
}

int32_t QXGetHostName(char* buffer, int32_t capacity) {
    if (buffer == nullptr || capacity < 1)
        return qx::result::InvalidArgument;
    buffer[0] = 0;
    char name[HOST_NAME_MAX + 1] = {};
    if (::gethostname(name, sizeof name) != 0)
        return lastResult();
    const std::string_view text(name);
    if (text.size() >= static_cast<size_t>(capacity))
        return qx::result::BufferTooSmall;
    text.copy(buffer, text.size());
    buffer[text.size()] = 0;
    return qx::result::Ok;
}
