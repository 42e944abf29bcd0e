#pragma once

#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/io/IChannel.h>
#include <qx/platform/export.h>

namespace qx::net {

/// Opens connections to one place.
class QX_INTERFACE IConnector : public IQXUnknown {
public:
    /// A new connection.
    virtual Reference<io::IChannel> connect() = 0;

protected:
    ~IConnector() = default;
};

} // namespace qx::net
