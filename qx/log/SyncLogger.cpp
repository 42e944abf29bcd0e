#include "qx/log/SyncLogger.h"

#include <mutex>

#include <qx/core/Required.h>

namespace qx::log {

SyncLogger::SyncLogger(ILevelLogger* target)
    : m_target(required(target)), m_lock("qx::log::SyncLogger::m_lock") {}

void SyncLogger::log(int level, const String& text) {
    const std::lock_guard lock(m_lock);
    m_lock.requireWhole();
    m_target->log(level, text);
}

} // namespace qx::log
