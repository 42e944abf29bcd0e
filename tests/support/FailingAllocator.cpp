#include "tests/support/FailingAllocator.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace qxtest {

namespace {

constexpr int64_t None = -1;

constinit thread_local int64_t t_allocations = 0;
constinit thread_local int64_t t_live = 0;
constinit std::atomic<int64_t> s_live{0};
/// Number of the first allocation that fails and of the first behind it that does not, compared
/// with t_allocations.
constinit thread_local int64_t t_failing = None;
constinit thread_local int64_t t_recovering = None;
constinit thread_local bool t_failed = false;

/// Counts an allocation, which got @p block.
void* counted(void* block) {
    if (!block)
        throw std::bad_alloc();
    ++t_live;
    s_live.fetch_add(1, std::memory_order_relaxed);
    return block;
}

/// To be called before memory is asked for.
void failIfItsTurn() {
    const int64_t number = t_allocations++;
    if (number < t_failing || number >= t_recovering)
        return;
    t_failed = true;
    throw std::bad_alloc();
}

} // namespace

FailingAllocator::FailingAllocator(int64_t failing, Extent extent) {
    t_failed = false;
    t_failing = t_allocations + failing;
    t_recovering =
        extent == Extent::OnlyThatOne ? t_failing + 1 : std::numeric_limits<int64_t>::max();
}

FailingAllocator::~FailingAllocator() { t_failing = t_recovering = None; }

bool FailingAllocator::hasFailed() const { return t_failed; }

int64_t allocationCount() { return t_allocations; }

int64_t liveBlocks() { return t_live; }

int64_t liveBlocksOfProcess() { return s_live; }

} // namespace qxtest

void* operator new(std::size_t size) {
    qxtest::failIfItsTurn();
    return qxtest::counted(std::malloc(size == 0 ? 1 : size));
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    qxtest::failIfItsTurn();
    const auto multiple = static_cast<std::size_t>(alignment);
    return qxtest::counted(std::aligned_alloc(multiple, (size + multiple - 1) & ~(multiple - 1)));
}

// The other forms rest on operator new and delete by default, but not in a program built with
// sanitizers.

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size) { return ::operator new(size); }

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return ::operator new(size, tag);
}

void operator delete(void* block) noexcept {
    if (block) {
        --qxtest::t_live;
        qxtest::s_live.fetch_sub(1, std::memory_order_relaxed);
    }
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { ::operator delete(block); }

void operator delete(void* block, const std::nothrow_t&) noexcept { ::operator delete(block); }

void operator delete[](void* block) noexcept { ::operator delete(block); }

void operator delete[](void* block, std::size_t) noexcept { ::operator delete(block); }

void operator delete[](void* block, const std::nothrow_t&) noexcept { ::operator delete(block); }

void operator delete(void* block, std::align_val_t) noexcept { ::operator delete(block); }

void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    ::operator delete(block);
}
