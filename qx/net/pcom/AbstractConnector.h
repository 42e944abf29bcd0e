#pragma once

#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/net/IConnector.h>
#include <qx/net/pcom/IQXConnector2.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// Base of connectors that are offered as components: the derived class supplies connect, whose
/// channels have to answer the interface that a component caller asks for. Queries find
/// IQXConnector2 and nothing else.
class QX_API AbstractConnector
    : public qx::pcom::ImplementsOnly<Object, IQXConnector2, IConnector> {
public:
    /// @return the code of what connect throws, or the answer of its channel
    int32_t Connect(const GUID& iid, void** out) override;
};

} // namespace qx::net::pcom
