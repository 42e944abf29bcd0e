#pragma once

#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/net/ITransport.h>
#include <qx/net/pcom/IQXTransport.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// Base of transports that are offered as components: the derived class supplies createAcceptor and
/// createConnector, which usually return classes over AbstractAcceptor and AbstractConnector.
/// Queries find IQXTransport and nothing else.
///
/// The properties that come from a component are a util::pcom::PcomPropertySet, which can be kept
/// by a reference.
class QX_API AbstractTransport : public qx::pcom::ImplementsOnly<Object, IQXTransport, ITransport> {
public:
    /// @return result::NullPointer without properties, the code of what createAcceptor throws, or
    ///     the answer of the acceptor
    int32_t CreateAcceptor(const util::pcom::IPropertySet* properties, const GUID& iid,
                           void** out) override;
    int32_t CreateConnector(const util::pcom::IPropertySet* properties, const GUID& iid,
                            void** out) override;
};

} // namespace qx::net::pcom
