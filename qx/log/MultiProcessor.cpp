#include "qx/log/MultiProcessor.h"

#include <mutex>
#include <utility>

#include <qx/core/Required.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/detail/OwnProcessors.h>
#include <qx/log/detail/Record.h>

namespace qx::log {

Reference<MultiProcessor> MultiProcessor::create() { return new MultiProcessor; }

void MultiProcessor::addProcessor(ILogProcessor* processor) {
    Reference<ILogProcessor> held(required(processor));
    m_processors.push_back(std::move(held));
    const bool isOnly = m_processors.size() == 1;
    m_onlyWriter = isOnly ? detail::asOwnWriter(processor) : nullptr;
    m_onlyQueue = isOnly ? detail::asQueue(processor) : nullptr;
}

void MultiProcessor::process(const ILogEntry* entry) {
    if (!m_onlyWriter) {
        processFrom(0, entry);
        return;
    }
    m_onlyWriter->process(entry);
    if (m_processors.size() > 1) [[unlikely]]
        processFrom(1, entry);
}

/// Whether tryProcess has a chance.
bool MultiProcessor::takesRecords() const noexcept {
    return m_onlyQueue || (m_onlyWriter && m_onlyWriter->takesRecords());
}

/// Does what process does for an entry with the fields of @p record, but for processors that were
/// added meanwhile; false when it has to be called with one.
bool MultiProcessor::tryProcess(const detail::Record& record) {
    if (m_onlyWriter)
        return m_onlyWriter->tryProcess(record);
    const std::lock_guard guard(m_lock);
    return m_onlyQueue->tryProcess(record);
}

void MultiProcessor::processFrom(size_t first, const ILogEntry* entry) {
    const std::lock_guard guard(m_lock);
    // By number: a processor may add another one to the round that it is in.
    for (size_t i = first; i < m_processors.size(); ++i) {
        const Reference<ILogProcessor> processor = m_processors[i];
        processor->process(entry);
    }
}

} // namespace qx::log
