#include "qx/log/MultiProcessor.h"

#include <mutex>

#include <qx/core/Required.h>

namespace qx::log {

Reference<MultiProcessor> MultiProcessor::create() { return new MultiProcessor; }

void MultiProcessor::addProcessor(ILogProcessor* processor) {
    Reference<ILogProcessor> held(required(processor));
    m_processors.push_back(std::move(held));
}

void MultiProcessor::process(const ILogEntry* entry) {
    const std::lock_guard guard(m_lock);
    // By number: a processor may add another one to the round that it is in.
    for (size_t i = 0; i < m_processors.size(); ++i) {
        const Reference<ILogProcessor> processor = m_processors[i];
        processor->process(entry);
    }
}

} // namespace qx::log
