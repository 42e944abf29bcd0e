#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

/// Creates the components of one class.
class QX_INTERFACE IQXClassFactory : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

    /// Makes a component and asks it for the interface @p iid.
    /// @param outer  the component that the new one becomes a part of; null for none. If it is
    ///     given, @p iid must be that of IQXUnknown.
    /// @param out    receives the interface with a reference for the caller; null after a failure
    virtual int32_t CreateInstance(IQXUnknown* outer, const qx::GUID& iid, void** out) = 0;
    /// Keeps the factory's module loaded. A call with 0 undoes one call with another value.
    virtual int32_t LockServer(int16_t lock) = 0;

protected:
    ~IQXClassFactory() = default;
};
