#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace qxtest {

/// Runs @p body while no descriptor can be had, or only @p count.
void withoutDescriptors(auto body, rlim_t count = 0) {
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const int lowestFree = ::dup(0);
    ::close(lowestFree);
    const rlimit few{static_cast<rlim_t>(lowestFree) + count, before.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    body();
    ::setrlimit(RLIMIT_NOFILE, &before);
}

} // namespace qxtest
