#pragma once

#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/io/IChannel.h>

namespace qx::net {

/// Opens connections to one place.
class IConnector : public IQXUnknown {
public:
    /// A new connection.
    virtual Reference<io::IChannel> connect() = 0;

protected:
    ~IConnector() = default;
};

} // namespace qx::net
