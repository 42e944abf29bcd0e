#pragma once

#include <cstdint>
#include <string>

#include <qx/util/config/PropertySet.h>

namespace qx::tcp {

/// What a property set says about a place. Numbers are decimal digits and nothing else.
///
/// | property      | values          | for                                                       |
/// |---------------|-----------------|-----------------------------------------------------------|
/// | `host`        | name or address | connectors: the server, every address of which is tried;  |
/// |               |                 | acceptors: the local address, `0.0.0.0` without one       |
/// | `port`        | 0 to 65535      | both; 0, for acceptors alone, is a port that is free      |
/// | `backlog`     | 1 to 2147483647 | acceptors: connections that may wait; 128 without one     |
/// | `readTimeout` | 0 to 2147483647 | both: how long a read waits, in milliseconds; 0, or       |
/// |               |                 | nothing, is without limit                                 |
/// | `boundPort`   | 1 to 65535      | stored by createAcceptor with the port that it listens on |
///
/// A property that is needed and missing gives result::NotFound, a value that is none
/// result::InvalidArgument, each with the property in the description.
struct Settings {
    std::string host; // UTF-8
    uint16_t port = 0;
    int32_t backlog = 128;
    int32_t readTimeoutMs = 0;

    /// @throws ResultException as above
    static Settings ofConnector(const util::PropertySet& properties);
    static Settings ofAcceptor(const util::PropertySet& properties);
};

/// Stores the port of an acceptor in the set that it was made from; the set's result.
int32_t setBoundPort(const util::PropertySet& properties, uint16_t port);

} // namespace qx::tcp
