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

namespace detail {
class OwnTarget;
struct Record;
} // namespace detail

/// Hands every entry to a number of processors, one after the other and one entry at a time.
///
/// process may be called from any thread, also by a processor that is being handed an entry;
/// addProcessor must not run at the same time, but may for another MultiProcessor that hands its
/// entries to this one.
class QX_API MultiProcessor : public qx::pcom::Implements<Object, ILogProcessor> {
public:
    /// Without processors: takes entries and does nothing.
    static Reference<MultiProcessor> create();

    /// Appends @p processor, which is kept by a reference.
    /// @throws ResultException with result::NullPointer, or with result::InvalidArgument for itself
    ///     and for a MultiProcessor that hands entries back to it without a filter between
    void addProcessor(ILogProcessor* processor);
    /// Calls the processors in the order in which they were added. What one of them throws ends the
    /// round.
    void process(const ILogEntry* entry) override;

private:
    struct Station;
    /// How many fan-outs behind each other take records.
    static constexpr int DeepestFanOut = 8;

    friend class Logger;
    friend class detail::OwnTarget;

    MultiProcessor();
    ~MultiProcessor() override;

    bool leadsHere(const Station& added) const;
    bool takesRecords(int depth = DeepestFanOut) const noexcept;
    size_t tryProcess(const detail::Record& record);
    size_t tryProcessKept(const detail::Record& record);
    void processFrom(size_t first, const ILogEntry* entry);

    std::vector<Station> m_stations;
    sync::ForkSafeMutex m_lock;
};

} // namespace qx::log
