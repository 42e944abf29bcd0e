#pragma once

#include <dlfcn.h>
#include <netdb.h>
#include <string_view>
#include <vector>

namespace qxtest {

/// A host with these addresses, and how often it has been looked up.
inline constexpr const char* SomeHost = "some.test";
inline std::vector<const char*> someAddresses;
inline int lookUps = 0;

} // namespace qxtest

/// Stands in front of the system's.
extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    static const auto real =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (host == nullptr || std::string_view(host) != qxtest::SomeHost)
        return real(host, service, hints, result);
    ++qxtest::lookUps;
    *result = nullptr;
    for (addrinfo** end = result; const char* address : qxtest::someAddresses) {
        real(address, service, hints, end);
        end = &(*end)->ai_next;
    }
    return *result != nullptr ? 0 : EAI_NONAME;
}
