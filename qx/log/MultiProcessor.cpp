#include "qx/log/MultiProcessor.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/log/LogEntry.h>
#include <qx/log/detail/OwnTarget.h>
#include <qx/log/detail/Record.h>
#include <qx/platform/detail/ForkWatch.h>

namespace qx::log {

namespace {

/// Held to add to any fan-out, which looks at the stations of others.
constinit std::mutex s_adding;
constinit platform::ForkNode s_node{&platform::HeldInFork<s_adding>};

[[gnu::constructor]] void watchForks() { platform::enterForks(s_node); }

} // namespace

struct MultiProcessor::Station {
    Reference<ILogProcessor> processor;
    detail::OwnTarget own; // the processor as far as it takes records
};

MultiProcessor::MultiProcessor() = default;

MultiProcessor::~MultiProcessor() = default;

Reference<MultiProcessor> MultiProcessor::create() { return new MultiProcessor; }

void MultiProcessor::addProcessor(ILogProcessor* processor) {
    Station added{required(processor), detail::OwnTarget(processor)};
    const std::lock_guard guard(s_adding);
    if (leadsHere(added))
        throwResult(result::InvalidArgument, u"an entry would go round for ever");
    m_stations.push_back(std::move(added));
}

/// Whether entries come from @p added straight to this fan-out: by others, and through nothing that
/// could keep them back.
bool MultiProcessor::leadsHere(const Station& added) const {
    std::vector<const MultiProcessor*> reached;
    const auto reach = [&](const Station& station) {
        const MultiProcessor* const fanOut = station.own.fanOut();
        if (fanOut && std::find(reached.begin(), reached.end(), fanOut) == reached.end())
            reached.push_back(fanOut);
    };
    reach(added);
    for (size_t i = 0; i < reached.size(); ++i) {
        if (reached[i] == this)
            return true;
        for (const Station& station : reached[i]->m_stations)
            reach(station);
    }
    return false;
}

void MultiProcessor::process(const ILogEntry* entry) {
    if (m_stations.size() != 1 || !m_stations[0].own.isWriter()) {
        processFrom(0, entry);
        return;
    }
    // A writer of ours lets one entry at a time through by itself.
    m_stations[0].processor->process(entry);
    if (m_stations.size() > 1) [[unlikely]]
        processFrom(1, entry);
}

/// Whether tryProcess has a chance.
/// @param depth  how many fan-outs may stand behind this one: they may form a circle, in which a
///     filter keeps entries from going round for ever
bool MultiProcessor::takesRecords(int depth) const noexcept {
    for (const Station& station : m_stations) {
        if (!station.own.takesRecords(depth))
            return false;
    }
    return !m_stations.empty();
}

/// See OwnTarget::tryProcess. Where there is a single processor, those that it adds meanwhile are
/// left to the caller.
/// @return how many processors have seen the record, none when an entry is needed
size_t MultiProcessor::tryProcess(const detail::Record& record) {
    if (m_stations.size() != 1)
        return tryProcessKept(record);
    const detail::OwnTarget only = m_stations[0].own;
    return only.tryProcess(record) ? 1 : 0;
}

/// The same, but processors that are added meanwhile are called as well. They get a copy, since
/// what the record refers to may change or go in the round.
size_t MultiProcessor::tryProcessKept(const detail::Record& record) {
    if (!detail::KeptRecord::fits(record))
        return 0;
    const detail::KeptRecord kept(record);
    Reference<LogEntry> entry; // for the first that needs one, and those behind it
    const std::lock_guard guard(m_lock);
    size_t i = 0;
    for (; i < m_stations.size(); ++i) {
        const Station station = m_stations[i];
        if (!entry && station.own.takesRecords(DeepestFanOut) &&
            station.own.tryProcess(kept.record()))
            continue;
        if (!entry)
            entry = LogEntry::create(kept.record());
        station.processor->process(entry);
    }
    return i;
}

void MultiProcessor::processFrom(size_t first, const ILogEntry* entry) {
    const std::lock_guard guard(m_lock);
    // By number: a processor may add another one to the round that it is in.
    for (size_t i = first; i < m_stations.size(); ++i) {
        const Reference<ILogProcessor> processor = m_stations[i].processor;
        processor->process(entry);
    }
}

} // namespace qx::log
