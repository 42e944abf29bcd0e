#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// An acceptor that is a component; channels as IQXConnector2 hands them out.
class QX_INTERFACE IQXAcceptor : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x57092186, 0xCAA5, 0x4CCF, {0xAC, 0xA7, 0x3B, 0x82, 0xDD, 0xB6, 0xCA, 0x0E}};

    /// Waits for a connection.
    /// @return 0 or a negative result, with null in @p out
    virtual int32_t Accept(const GUID& iid, void** out) = 0;

protected:
    ~IQXAcceptor() = default;
};

} // namespace qx::net::pcom
