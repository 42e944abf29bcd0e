#pragma once

#include <cstddef>
#include <vector>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/log/ILogProcessor.h>
#include <qx/platform/export.h>
#include <qx/sync/ForkSafeMutex.h>

namespace qx::log {

class AbstractLogWriter;
class AsyncProcessor;

namespace detail {
struct Record;
}

/// Hands every entry to a number of processors, one after the other and one entry at a time.
///
/// process may be called from any thread, also by a processor that is being handed an entry;
/// addProcessor must not run at the same time.
class QX_API MultiProcessor : public qx::pcom::Implements<Object, ILogProcessor> {
public:
    /// Without processors: takes entries and does nothing.
    static Reference<MultiProcessor> create();

    /// Appends @p processor, which is kept by a reference.
    /// @throws ResultException with result::NullPointer
    void addProcessor(ILogProcessor* processor);
    /// Calls the processors in the order in which they were added. What one of them throws ends the
    /// round.
    void process(const ILogEntry* entry) override;

private:
    MultiProcessor() = default;
    ~MultiProcessor() override = default;

    friend class Logger;

    bool takesRecords() const noexcept;
    bool tryProcess(const detail::Record& record);
    void processFrom(size_t first, const ILogEntry* entry);

    std::vector<Reference<ILogProcessor>> m_processors;
    /// The only processor when it is a writer of ours, which lets one entry at a time through by
    /// itself.
    AbstractLogWriter* m_onlyWriter = nullptr;
    AsyncProcessor* m_onlyQueue = nullptr; // the same for a queue
    sync::ForkSafeMutex m_lock;
};

} // namespace qx::log
