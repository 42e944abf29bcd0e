#pragma once

#include <sys/wait.h>

#include <qx/qx.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/Sanitized.h"

namespace qxtest {

/// True when this process has a child, running or not waited for.
inline bool hasChildren() {
    siginfo_t info;
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// Expects, at its end, that no child is left and no descriptor or thread more than at its begin.
class NothingLeft {
public:
    NothingLeft() {
        std::thread([] {}).join(); // from the first on the thread sanitizer has one of its own
        // What the tests before have dropped may be on its way still.
        EXPECT_TRUE(
            eventually([] { return !hasChildren() && countOwn("task") <= (Sanitized ? 2 : 1); }));
        m_descriptors = countOwn("fd");
        m_threads = countOwn("task");
    }
    ~NothingLeft() {
        EXPECT_TRUE(eventually([this] {
            return !hasChildren() && countOwn("fd") == m_descriptors &&
                   countOwn("task") <= m_threads;
        }));
    }
    NothingLeft(const NothingLeft&) = delete;
    NothingLeft& operator=(const NothingLeft&) = delete;

    int64_t moreDescriptors() const { return countOwn("fd") - m_descriptors; }
    int64_t moreThreads() const { return countOwn("task") - m_threads; }

private:
    int64_t m_descriptors, m_threads;
};

} // namespace qxtest
