#pragma once

#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/net/IAcceptor.h>
#include <qx/net/pcom/IQXAcceptor.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// Base of acceptors that are offered as components: the derived class supplies accept, whose
/// channels have to answer the interface that a component caller asks for. Queries find IQXAcceptor
/// and nothing else.
class QX_API AbstractAcceptor : public qx::pcom::ImplementsOnly<Object, IQXAcceptor, IAcceptor> {
public:
    /// @return the code of what accept throws, or the answer of its channel
    int32_t Accept(const GUID& iid, void** out) override;
};

} // namespace qx::net::pcom
