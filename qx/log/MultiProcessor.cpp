#include "qx/log/MultiProcessor.h"

#include <mutex>
#include <utility>

#include <qx/core/Required.h>
#include <qx/log/detail/OwnProcessors.h>

namespace qx::log {

Reference<MultiProcessor> MultiProcessor::create() { return new MultiProcessor; }

void MultiProcessor::addProcessor(ILogProcessor* processor) {
    Reference<ILogProcessor> held(required(processor));
    m_processors.push_back(std::move(held));
    m_onlyWriter = m_processors.size() == 1 ? detail::asOwnWriter(processor) : nullptr;
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

void MultiProcessor::processFrom(size_t first, const ILogEntry* entry) {
    const std::lock_guard guard(m_lock);
    // By number: a processor may add another one to the round that it is in.
    for (size_t i = first; i < m_processors.size(); ++i) {
        const Reference<ILogProcessor> processor = m_processors[i];
        processor->process(entry);
    }
}

} // namespace qx::log
