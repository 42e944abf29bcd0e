#pragma once

#include <atomic>
#include <cstdint>

namespace qx::pcom {

/// Number of live objects and server locks of a component module. A module may be unloaded only
/// while it is 0. Safe from any thread.
class ModuleCount {
public:
    /// Counts one more; returns the new number.
    uint32_t AddRef() noexcept { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    /// Counts one less; returns the new number.
    uint32_t Release() noexcept { return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    uint32_t GetRefCount() const noexcept { return m_count.load(std::memory_order_acquire); }

private:
    std::atomic<uint32_t> m_count{0};
};

} // namespace qx::pcom
