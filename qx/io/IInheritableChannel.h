#pragma once

#include <qx/io/IChannel.h>
#include <qx/platform/export.h>

namespace qx {
class String;

namespace io {

/// A channel whose endpoint can be passed on, for example to another process, under a name.
class QX_INTERFACE IInheritableChannel : public IChannel {
public:
    /// @throws ResultException with result::NotAvailable when there is no name
    virtual String getInheritableName() = 0;

protected:
    ~IInheritableChannel() = default;
};

} // namespace io
} // namespace qx
