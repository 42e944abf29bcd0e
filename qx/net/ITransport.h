#pragma once

#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/net/IAcceptor.h>
#include <qx/net/IConnector.h>
#include <qx/platform/export.h>

namespace qx {

namespace util {
class PropertySet;
}

namespace net {

/// A way of making connections. Which properties there are is the transport's to say.
class QX_INTERFACE ITransport : public IQXUnknown {
public:
    virtual Reference<IConnector> createConnector(const util::PropertySet& properties) = 0;
    virtual Reference<IAcceptor> createAcceptor(const util::PropertySet& properties) = 0;

protected:
    ~ITransport() = default;
};

} // namespace net
} // namespace qx
