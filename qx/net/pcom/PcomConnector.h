#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/net/IConnector.h>
#include <qx/net/pcom/IQXConnector2.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// A connector that is a component, for callers of the class level.
class QX_API PcomConnector : public qx::pcom::Implements<Object, IConnector> {
public:
    /// @param connector  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    explicit PcomConnector(IQXConnector2* connector);

    /// @throws ResultException with the result of the component
    Reference<io::IChannel> connect() override;

private:
    const Reference<IQXConnector2> m_connector;
};

} // namespace qx::net::pcom
