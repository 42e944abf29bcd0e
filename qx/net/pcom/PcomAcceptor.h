#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/net/IAcceptor.h>
#include <qx/net/pcom/IQXAcceptor.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// An acceptor that is a component, for callers of the class level.
class QX_API PcomAcceptor : public qx::pcom::Implements<Object, IAcceptor> {
public:
    /// @param acceptor  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    explicit PcomAcceptor(IQXAcceptor* acceptor);

    /// @throws ResultException with the result of the component
    Reference<io::IChannel> accept() override;

private:
    const Reference<IQXAcceptor> m_acceptor;
};

} // namespace qx::net::pcom
