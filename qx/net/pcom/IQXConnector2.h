#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::net::pcom {

/// A connector that is a component. Channels are handed out as the interface that is asked for,
/// usually io::pcom::IQXChannel, with a reference that the caller releases.
class QX_INTERFACE IQXConnector2 : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x82DB3948, 0x42E3, 0x42B4, {0xBF, 0x80, 0xEC, 0x29, 0x40, 0x12, 0x83, 0x83}};

    /// Opens a connection.
    /// @return 0 or a negative result, with null in @p out
    virtual int32_t Connect(const GUID& iid, void** out) = 0;

protected:
    ~IQXConnector2() = default;
};

} // namespace qx::net::pcom
