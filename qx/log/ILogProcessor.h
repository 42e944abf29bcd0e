#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::log {

class ILogEntry;

/// A station that log entries pass through or end in: a writer, a queue, a filter.
class QX_INTERFACE ILogProcessor : public IQXUnknown {
public:
    /// Takes @p entry, which is not null. A processor that needs it after the call takes a
    /// reference, and throws when it cannot process the entry.
    virtual void process(const ILogEntry* entry) = 0;

protected:
    ~ILogProcessor() = default;
};

} // namespace qx::log
