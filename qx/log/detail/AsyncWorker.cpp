#include "qx/log/detail/AsyncWorker.h"

#include <mutex>

#include <qx/core/Result.h>

namespace qx::log {

namespace {

/// A nap gathers what comes meanwhile, so that many entries share one change of threads. After so
/// many naps without an entry the worker sleeps, and the next logger has to wake it.
constexpr uint32_t NapMilliseconds = 1;
constexpr int MostNaps = 20;

/// The worker that the thread is, of whatever processor.
constinit thread_local const void* t_worker = nullptr;

} // namespace

AsyncProcessorImpl::Worker::Worker(AsyncProcessorImpl& core) : m_core(core) {
    const std::lock_guard taking(core.m_taking);
    m_next = core.m_workers;
    core.m_workers = this;
    t_worker = this;
}

AsyncProcessorImpl::Worker::~Worker() {
    // After a failure too: what was written before it is to arrive.
    if (m_isBusy && !m_core.m_isParents)
        resultOf([this] { m_core.runWhenEmpty(); });
    t_worker = nullptr;
    if (m_core.m_isParents) // the target has forked
        return;
    resultOf([this] {
        const std::lock_guard taking(m_core.m_taking);
        Worker** link = &m_core.m_workers;
        while (*link != this)
            link = &(*link)->m_next;
        *link = m_next;
        --m_core.m_workerCount;
        m_core.wakeSleeper(); // who carries on where this one leaves off
        m_core.m_taking.broadcast();
    });
    m_core.releaseTarget(false);
}

bool AsyncProcessorImpl::Worker::next(detail::QueuedEntry& entry) {
    for (int naps = 0; !m_core.m_isParents; ++naps) {
        Rest kind = Rest::None;
        {
            const std::lock_guard taking(m_core.m_taking);
            m_number = NoEntry;
            if (m_core.m_stopping)
                return false;
            if (m_core.refill()) {
                m_number = m_core.m_takenCount;
                m_isBusy = true;
                m_core.takeFirst(entry);
                m_core.notify();
                if (!m_core.m_ready.isEmpty())
                    m_core.wakeSleeper();
                return true;
            }
            m_core.notify();
            if (!m_isBusy)
                kind = lieDown(naps);
        }
        if (m_isBusy) {
            m_core.asWorker([this] { m_core.runWhenEmpty(); });
            const std::lock_guard taking(m_core.m_taking);
            m_isBusy = false;
        } else {
            rest(kind);
        }
    }
    return false;
}

/// For holders of m_taking.
AsyncProcessorImpl::Worker::Rest AsyncProcessorImpl::Worker::lieDown(int naps) {
    const std::lock_guard lock(m_core.m_lock);
    if (!m_core.m_incoming.isEmpty())
        return Rest::None;
    if (!m_core.m_isNapping && naps < MostNaps) {
        m_core.m_isNapping = true;
        return Rest::Nap;
    }
    ++m_core.m_sleepers;
    return Rest::Sleep;
}

void AsyncProcessorImpl::Worker::rest(Rest kind) {
    if (kind == Rest::Sleep) {
        m_core.m_signal.wait();
    } else if (kind == Rest::Nap) {
        m_core.m_nap.wait(NapMilliseconds);
        const std::lock_guard lock(m_core.m_lock);
        m_core.m_isNapping = false;
    }
}

const AsyncProcessorImpl::Worker*
AsyncProcessorImpl::Worker::caller(const AsyncProcessorImpl& core) noexcept {
    const auto* const worker = static_cast<const Worker*>(t_worker);
    return worker && &worker->m_core == &core ? worker : nullptr;
}

} // namespace qx::log
