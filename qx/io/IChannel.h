#pragma once

#include <cstdint>

#include <qx/io/IReadChannel.h>
#include <qx/io/IWriteChannel.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Moves bytes between byte buffers and an endpoint, in both directions. A channel is used by one
/// thread at a time unless it says otherwise.
class QX_INTERFACE IChannel : public IReadChannel, public IWriteChannel {
public:
    // One object behind both sides: calls need not say which of its parts they mean.
    int32_t QueryInterface(const GUID& iid, void** out) override = 0;
    uint32_t AddRef() override = 0;
    uint32_t Release() override = 0;

protected:
    ~IChannel() = default;
};

} // namespace qx::io
