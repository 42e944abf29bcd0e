#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::log::pcom {

class ILogEntry;

/// A log processor that is a component.
class QX_INTERFACE ILogProcessor : public IQXUnknown {
public:
    /// Takes @p entry. A processor that needs it after the call takes a reference.
    /// @return 0 or a negative result
    virtual int32_t Process(ILogEntry* entry) = 0;

protected:
    ~ILogProcessor() = default;
};

} // namespace qx::log::pcom
