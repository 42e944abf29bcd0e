#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include <qx/util/config/PropertySet.h>

namespace qx::transport {

/// The end of a range of numbers that has no other.
inline constexpr int32_t NoLimit = std::numeric_limits<int32_t>::max();

/// What a property set says about a place.
///
/// | property         | values          | for                                               |
/// |------------------|-----------------|---------------------------------------------------|
/// | `host`           | name or address | connectors: the server, every address of which    |
/// |                  |                 | is tried; acceptors: the local address,           |
/// |                  |                 | `0.0.0.0` without one                             |
/// | `port`           | 0 to 65535      | both; 0, for acceptors alone, is one that is free |
/// | `backlog`        | 1 to 2147483647 | acceptors: connections that may wait; 128 without |
/// | `readTimeout`    | 0 to 2147483647 | both: how long a read waits, in milliseconds; 0,  |
/// |                  |                 | or nothing, is without limit                      |
/// | `writeTimeout`   | 0 to 2147483647 | both: how long a write waits for room, in         |
/// |                  |                 | milliseconds; 0, or nothing, is without limit     |
/// | `connectTimeout` | 0 to 2147483647 | connectors: how long it may take to connect once  |
/// |                  |                 | the host is looked up, in milliseconds; 0 is      |
/// |                  |                 | without limit                                     |
/// | `boundPort`      | 1 to 65535      | stored by createAcceptor: where it listens        |
struct Place {
    std::string host; // UTF-8
    uint16_t port = 0;
    int32_t backlog = 128;
    int32_t readTimeoutMs = 0;
    int32_t writeTimeoutMs = 0;
    int32_t connectTimeoutMs = 0;

    /// @param connectTimeoutMs  the limit when none is set
    /// @throws ResultException as the functions of Properties.h
    static Place ofConnector(const util::PropertySet& properties, int32_t connectTimeoutMs);
    static Place ofAcceptor(const util::PropertySet& properties);
    /// The limits alone, for connections that somebody else accepts.
    static Place ofServerSide(const util::PropertySet& properties);
};

/// Stores the port of an acceptor in the set that it was made from.
/// @throws ResultException with the set's result, unless the place named the port
void setBoundPort(const util::PropertySet& properties, const Place& place, uint16_t port);

} // namespace qx::transport
