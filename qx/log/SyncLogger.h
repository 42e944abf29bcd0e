#pragma once

#include <qx/core/AnyText.h>
#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/log/ILevelLogger.h>
#include <qx/platform/export.h>
#include <qx/sync/ForkSafeMutex.h>

namespace qx::log {

/// Lets any number of threads use a logger that is made for one at a time: one call follows the
/// other. In a child that was forked while another thread was in the middle of one, log throws
/// IllegalStateException.
class QX_API SyncLogger : public qx::pcom::Implements<Object, ILevelLogger> {
public:
    /// @param target  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    explicit SyncLogger(ILevelLogger* target);

    /// The target's log; what it throws passes through.
    void log(int level, const String& text) override;
    void log(int level, const OtherText auto& text) { log(level, stringOf(text)); }

private:
    const Reference<ILevelLogger> m_target;
    sync::ForkSafeMutex m_lock;
};

} // namespace qx::log
