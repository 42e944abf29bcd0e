#pragma once

#include <cstdint>

#include <gtest/gtest.h>

namespace qxtest {

/// Makes allocations of the calling thread fail while it is alive. A test program that links this
/// has its own global operator new, which counts; std::bad_alloc comes from the allocation with the
/// given number, counted from 0 at construction. One at a time per thread.
struct FailingAllocator {
    enum class Extent { OnlyThatOne, FromThereOn };

    explicit FailingAllocator(int64_t failing, Extent extent = Extent::OnlyThatOne);
    ~FailingAllocator();
    FailingAllocator(const FailingAllocator&) = delete;
    FailingAllocator& operator=(const FailingAllocator&) = delete;

    /// True when the allocation was asked for.
    bool hasFailed() const;
};

/// Allocations that this thread has made since it began.
int64_t allocationCount();
/// Blocks that this thread has allocated less those it has freed.
int64_t liveBlocks();
/// The same for all threads together.
int64_t liveBlocksOfProcess();

/// Runs @p operation until it comes through: the first time with its first allocation failing, then
/// with its second, and so on. The operation handles the failure, checks what it should have left,
/// and frees what it made; a block that stays behind is a failure of the test.
/// @return the number of allocations of the operation
int64_t failEachAllocation(auto&& operation) {
    for (int64_t failing = 0;; ++failing) {
        SCOPED_TRACE(testing::Message() << "failing allocation " << failing);
        const int64_t before = liveBlocks();
        bool failed = false;
        {
            FailingAllocator allocator(failing);
            operation();
            failed = allocator.hasFailed();
        }
        EXPECT_EQ(liveBlocks(), before) << "blocks leaked";
        if (!failed || testing::Test::HasFatalFailure())
            return failing;
    }
}

} // namespace qxtest
