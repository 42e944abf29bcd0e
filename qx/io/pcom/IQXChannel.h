#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

class IQXCharBuffer;

namespace qx::io::pcom {

/// A channel that is a component. Lengths are in bytes: the caller stores what it offers, 0 or
/// more, and finds what was moved.
class QX_INTERFACE IQXChannel : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0xD2B1BFAE, 0xEC92, 0x4F2F, {0x9D, 0xEC, 0x4D, 0x98, 0xEA, 0x94, 0x59, 0x8C}};

    /// Reads at most @p length bytes; the length becomes -1 at the end of the input.
    /// @return 0 or a negative result
    virtual int32_t Read(signed char* buffer, int32_t* length) = 0;
    /// Writes @p length bytes, or the first of them.
    virtual int32_t Write(const signed char* buffer, int32_t* length) = 0;
    /// Writes the name under which the endpoint can be passed on to @p name.
    /// @return 0, result::NotAvailable when there is none
    virtual int32_t GetInheritableName(IQXCharBuffer* name) = 0;

protected:
    ~IQXChannel() = default;
};

} // namespace qx::io::pcom
