#pragma once

#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/io/IChannel.h>
#include <qx/platform/export.h>

namespace qx::net {

/// Waits for incoming connections at one place.
class QX_INTERFACE IAcceptor : public IQXUnknown {
public:
    /// The next connection, once there is one.
    virtual Reference<io::IChannel> accept() = 0;

protected:
    ~IAcceptor() = default;
};

} // namespace qx::net
