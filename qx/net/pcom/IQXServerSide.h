#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>
#include <qx/util/config/pcom/IPropertySet.h>

namespace qx::net::pcom {

/// The server's side of a transport over connections that a program has accepted itself.
class QX_INTERFACE IQXServerSide : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x3F6E0B91, 0x58C7, 0x4E2D, {0x9A, 0x14, 0x7D, 0xB0, 0x62, 0xE5, 0x0F, 0xC8}};

    /// Makes a channel of a connection; any thread may call it, also while another one does.
    /// @param socket  a connected native socket. It stays the caller's, who lets the channel go
    ///     before he closes it, and may shut it down at any time to end what the channel waits for.
    /// @param iid  usually that of io::pcom::IQXChannel
    /// @return 0 or a negative result, with null in @p out
    virtual int32_t Serve(uint64_t socket, const GUID& iid, void** out) = 0;

protected:
    ~IQXServerSide() = default;
};

/// What a transport that is a component may offer besides IQXTransport.
class QX_INTERFACE IQXServerTransport : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0xB27A4D15, 0xC09E, 0x4F83, {0x85, 0x3B, 0x1E, 0x96, 0xD4, 0x70, 0xAA, 0x2C}};

    /// @param iid  usually that of IQXServerSide
    /// @return 0 or a negative result, with null in @p out
    virtual int32_t CreateServerSide(const util::pcom::IPropertySet* properties, const GUID& iid,
                                     void** out) = 0;

protected:
    ~IQXServerTransport() = default;
};

} // namespace qx::net::pcom
