#include <qx/log/SyncLogger.h>

#include <mutex>

#include <qx/core/Result.h>

namespace qx::log {

SyncLogger::SyncLogger(ILevelLogger* target)
    : m_target(target), m_lock("qx::log::SyncLogger::m_lock") {
    if (target == nullptr)
        throwResult(result::NullPointer);
}

void SyncLogger::log(int level, const String& text) {
    const std::lock_guard lock(m_lock);
    m_target->log(level, text);
}

} // namespace qx::log
