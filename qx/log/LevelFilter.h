#pragma once

#include <atomic>
#include <memory>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/log/ILogProcessor.h>
#include <qx/platform/export.h>

namespace qx::log {

namespace detail {
class OwnTarget;
struct Record;
} // namespace detail

/// Passes on the entries whose field "level" is at or above a threshold. An entry without that
/// field, or with something in it that is no number, cannot be judged and is passed on.
///
/// Any number of threads may call process at once if the target allows that.
class QX_API LevelFilter : public qx::pcom::Implements<Object, ILogProcessor> {
public:
    /// @param target  kept by a reference
    /// @throws ResultException with result::NullPointer for a null target
    static Reference<LevelFilter> create(ILogProcessor* target, int threshold);

    void process(const ILogEntry* entry) override;

    /// Takes effect with the next entry; any thread may call it while others log.
    void setThreshold(int threshold) noexcept { m_threshold = threshold; }
    int getThreshold() const noexcept { return m_threshold; }

private:
    friend class detail::OwnTarget;

    LevelFilter(ILogProcessor* target, int threshold);
    ~LevelFilter() override;

    bool takesRecords(int depth) const noexcept;
    bool tryProcess(const detail::Record& record) const;

    const Reference<ILogProcessor> m_target;
    const std::unique_ptr<const detail::OwnTarget> m_own; // the target as far as it takes records
    std::atomic<int> m_threshold;
};

} // namespace qx::log
