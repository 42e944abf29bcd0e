#pragma once

#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/io/IChannel.h>
#include <qx/net/pcom/AbstractTransport.h>
#include <qx/net/pcom/IQXServerSide.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// Base of what serves connections that a program has accepted: the derived class supplies serve,
/// as IQXServerSide says, whose channels have to answer the interface that a component caller asks
/// for. Queries find IQXServerSide and nothing else.
class QX_API AbstractServerSide : public qx::pcom::ImplementsOnly<Object, IQXServerSide> {
public:
    virtual Reference<io::IChannel> serve(uint64_t socket) = 0;

    /// @return the code of what serve throws, or the answer of its channel
    int32_t Serve(uint64_t socket, const GUID& iid, void** out) override;
};

/// Base of transports that offer this too; createServerSide usually returns a class over
/// AbstractServerSide. Queries find IQXTransport and IQXServerTransport.
class QX_API AbstractServerTransport
    : public qx::pcom::Implements<AbstractTransport, IQXServerTransport> {
public:
    virtual Reference<AbstractServerSide> createServerSide(const util::PropertySet& properties) = 0;

    /// @return result::NullPointer without properties, the code of what createServerSide throws, or
    ///     the answer of what it returns
    int32_t CreateServerSide(const util::pcom::IPropertySet* properties, const GUID& iid,
                             void** out) override;
};

} // namespace qx::net::pcom
