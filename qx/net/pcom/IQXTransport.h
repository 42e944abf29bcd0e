#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>
#include <qx/util/config/pcom/IPropertySet.h>

namespace qx::net::pcom {

/// A transport that is a component. What it makes is handed out as the interface that is asked for
/// with a reference that the caller releases.
class QX_INTERFACE IQXTransport : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x9D15C6B0, 0xED08, 0x4D46, {0xB6, 0x97, 0x8D, 0x00, 0xA5, 0x8F, 0x56, 0x60}};

    /// @param iid  usually that of IQXAcceptor
    /// @return 0 or a negative result, with null in @p out
    virtual int32_t CreateAcceptor(const util::pcom::IPropertySet* properties, const GUID& iid,
                                   void** out) = 0;
    /// @param iid  usually that of IQXConnector2
    virtual int32_t CreateConnector(const util::pcom::IPropertySet* properties, const GUID& iid,
                                    void** out) = 0;

protected:
    ~IQXTransport() = default;
};

} // namespace qx::net::pcom
