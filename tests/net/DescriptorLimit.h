#pragma once

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace qxtest {

/// Another limit of open descriptors while it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit) {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &m_before), 0);
        const rlimit wanted{limit, m_before.rlim_max};
        m_isSet = ::setrlimit(RLIMIT_NOFILE, &wanted) == 0;
    }
    /// No descriptor can be had.
    static DescriptorLimit exhausted() {
        const int lowestFree = ::dup(0);
        EXPECT_GE(lowestFree, 0);
        ::close(lowestFree);
        return DescriptorLimit(static_cast<rlim_t>(lowestFree));
    }
    /// At least so many, if the system allows it.
    static DescriptorLimit raised(rlim_t count) {
        rlimit present{};
        ::getrlimit(RLIMIT_NOFILE, &present);
        return DescriptorLimit(std::max(present.rlim_cur, count));
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &m_before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

    bool isSet() const { return m_isSet; }

private:
    rlimit m_before{};
    bool m_isSet;
};

} // namespace qxtest
