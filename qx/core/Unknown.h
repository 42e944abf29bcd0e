#pragma once

#include <cstdint>

#include <qx/core/GUID.h>
#include <qx/platform/export.h>

/// The unknown interface of the component object model: interface query and reference counting.
///
/// The virtual table holds exactly the three slots, so that C code can call an object through a
/// table of function pointers.
class QX_INTERFACE IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

    /// Asks for the interface @p iid. On success the pointer in @p out carries a reference that the
    /// caller releases; otherwise it is null.
    /// @return 0, result::NoInterface, or result::NullPointer when @p out is null
    virtual int32_t QueryInterface(const qx::GUID& iid, void** out) = 0;
    /// Takes a reference; returns the new count. Safe from any thread.
    virtual uint32_t AddRef() = 0;
    /// Drops a reference; returns the new count. The last one destroys the object.
    virtual uint32_t Release() = 0;

protected:
    ~IQXUnknown() = default;
};
