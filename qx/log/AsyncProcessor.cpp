#include "qx/log/AsyncProcessor.h"

#include <utility>

#include <qx/core/Required.h>
#include <qx/log/detail/AsyncProcessorImpl.h>

namespace qx::log {

Reference<AsyncProcessor> AsyncProcessor::create(ILogProcessor* target, int threadCount,
                                                 const AsyncOptions& options) {
    required(target);
    Reference<AsyncProcessor> processor(
        new AsyncProcessor(makeReference<AsyncProcessorImpl>(target, options)));
    for (int i = 0; i < threadCount; ++i)
        processor->m_core->startWorker();
    return processor;
}

AsyncProcessor::AsyncProcessor(Reference<AsyncProcessorImpl> core) : m_core(std::move(core)) {}

AsyncProcessor::~AsyncProcessor() { m_core->shutDown(); }

void AsyncProcessor::process(const ILogEntry* entry) { m_core->process(entry); }

/// See OwnTarget::tryProcess.
bool AsyncProcessor::tryProcess(const detail::Record& record) {
    if (!detail::KeptRecord::fits(record))
        return false;
    m_core->process(record);
    return true;
}

bool AsyncProcessor::flush() { return m_core->flush(); }

uint64_t AsyncProcessor::getQueuedCount() const { return m_core->getQueuedCount(); }

uint64_t AsyncProcessor::getDroppedCount() const { return m_core->getDroppedCount(); }

uint64_t AsyncProcessor::getFailedCount() const { return m_core->getFailedCount(); }

int32_t AsyncProcessor::getFirstFailure() const { return m_core->getFirstFailure(); }

int AsyncProcessor::getWorkerCount() const { return m_core->getWorkerCount(); }

} // namespace qx::log
