#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/net/ITransport.h>
#include <qx/net/pcom/IQXTransport.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// A transport that is a component, for callers of the class level.
///
/// Properties are handed to the component as util::PropertySet::getPcom gives them, so that the
/// caller sees what the component changes.
class QX_API PcomTransport : public qx::pcom::Implements<Object, ITransport> {
public:
    /// Creates the component whose programmatic identifier is @p name.
    /// @throws ResultException with the result of the creation
    explicit PcomTransport(const String& name);
    /// @param transport  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    explicit PcomTransport(IQXTransport* transport);

    /// @throws ResultException with the result of the component
    Reference<IConnector> createConnector(const util::PropertySet& properties) override;
    Reference<IAcceptor> createAcceptor(const util::PropertySet& properties) override;

private:
    const Reference<IQXTransport> m_transport;
};

} // namespace qx::net::pcom
