#pragma once

#include <qx/core/Unknown.h>

namespace qx::log {

class ILogEntry;

/// A station that log entries pass through or end in: a writer, a queue, a filter.
class ILogProcessor : public IQXUnknown {
public:
    /// Takes @p entry, which is not null; whoever needs it after the call takes a reference. What
    /// the processor cannot do with it is thrown.
    virtual void process(const ILogEntry* entry) = 0;

protected:
    ~ILogProcessor() = default;
};

} // namespace qx::log
