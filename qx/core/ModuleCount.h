#pragma once

#include <atomic>
#include <cstdint>

#include <qx/platform/export.h>

namespace qx::pcom {

/// Number of live objects and server locks of a component module. A module may be unloaded only
/// while it is 0. Safe from any thread.
///
/// The end of a count is ordered before the beginning of another one, as that of a module which is
/// loaded again. The loader does that too, but by a lock of its own that tools looking for data
/// races do not see.
class ModuleCount {
public:
    QX_API ModuleCount() noexcept;
    QX_API ~ModuleCount();
    ModuleCount(const ModuleCount&) = delete;
    ModuleCount& operator=(const ModuleCount&) = delete;

    /// Counts one more; returns the new number.
    uint32_t AddRef() noexcept { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    /// Counts one less; returns the new number.
    uint32_t Release() noexcept { return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    uint32_t GetRefCount() const noexcept { return m_count.load(std::memory_order_acquire); }

private:
    std::atomic<uint32_t> m_count;
};

} // namespace qx::pcom
