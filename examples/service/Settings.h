#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <qx/core/String.h>

namespace collector {

/// What the service can be told. An option of the command line goes before the value of that name
/// in the registry (QX_HKEY_USER/Examples/Service), which goes before that in the set "Service" of
/// the INI file, which goes before the default.
struct Settings {
    std::vector<std::string> addresses; ///< host names or numeric addresses
    uint16_t port;                      ///< on all addresses; 0: a free one for each
    qx::String folder;                  ///< where the logs lie
    int32_t level;                      ///< lowest level in the plain-text log; the other has all
    int32_t largest;                    ///< bytes of the plain-text log; 0 for any number
    int32_t mostConnections;
    size_t longestLine; ///< in bytes
    std::chrono::milliseconds idle;
    qx::String certificate; ///< PEM file, for TLS; empty: connections are not encrypted
    qx::String key;         ///< of it; empty: in the same file
    qx::String trust;       ///< roots of the certificates that clients need; empty: they need none
    qx::String locale;      ///< of the service's own messages; empty: that of the user
};

/// What is wrong with a setting.
class UsageFailure : public std::runtime_error {
public:
    explicit UsageFailure(const qx::String& message) : std::runtime_error(message.toUtf8()) {}
};

/// Nothing when help was asked for and given.
/// @throws UsageFailure
std::optional<Settings> readSettings(int argc, const char* const* argv);

} // namespace collector
