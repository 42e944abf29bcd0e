#pragma once

#include <string>
#include <vector>

namespace qxtest {

/// While it lives, one of this thread's system calls that change files or ask who may use them
/// fails, wherever it is made: openat, getxattr, fchown, fchmod, write, futimens, fsync, renameat.
/// One at a time.
class FailingCalls {
public:
    static constexpr int Never = -1;

    /// @param failing  number of the call, from 0
    /// @param error    errno of the call
    explicit FailingCalls(int failing = Never, int error = 0);
    ~FailingCalls();
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;

    /// Names of the calls made so far, the failed one included.
    std::vector<std::string> calls() const;
    /// Whether from now on a call writes at most four bytes, and gives files times of whole
    /// seconds, even ones until 2038.
    void setCoarse(bool isCoarse = true);
};

} // namespace qxtest
