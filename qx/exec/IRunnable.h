#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::exec {

/// Something to run, on a thread of its own or elsewhere.
class QX_INTERFACE IRunnable : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x879CFFCB, 0x0621, 0x4EDC, {0xAD, 0x2E, 0xD3, 0xD5, 0x13, 0x7E, 0x38, 0x45}};

    /// Does the work. The result means what the runnable and its caller agree on; it is not owned
    /// by whoever passes it on.
    virtual void* run() = 0;

protected:
    ~IRunnable() = default;
};

} // namespace qx::exec

using CQXRunnable = qx::exec::IRunnable;
