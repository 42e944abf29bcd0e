#include "qx/core/ModuleCount.h"

namespace qx::pcom {

namespace {

constinit std::atomic<uint32_t> s_ended;

/// What a count begins with. Its look at s_ended puts that behind the end of earlier counts.
uint32_t first() noexcept {
    (void)s_ended.load(std::memory_order_acquire);
    return 0;
}

} // namespace

ModuleCount::ModuleCount() noexcept : m_count(first()) {}

ModuleCount::~ModuleCount() { s_ended.fetch_add(1, std::memory_order_release); }

} // namespace qx::pcom
