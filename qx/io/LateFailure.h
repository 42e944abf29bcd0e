#pragma once

#include <cstdint>
#include <exception>
#include <utility>

#include <qx/core/ThreadEnd.h>

namespace qx::io {

/// The failure of a source in the middle of a read that already has something to deliver: that read
/// ends early, and the next one raises the failure, which is kept for it. So nothing that was read
/// is lost, and no failure goes unseen.
class LateFailure {
public:
    /// Raises the failure that was kept, if any, once.
    void raise() {
        if (m_failure) [[unlikely]]
            std::rethrow_exception(std::exchange(m_failure, nullptr));
    }

    bool isKept() const noexcept { return static_cast<bool>(m_failure); }

    /// Runs @p step; its failure passes when @p delivered is 0 by then, and else is kept.
    template <class Step>
    void guard(const int32_t& delivered, Step&& step) {
        try {
            step();
        } catch (...) {
            if (delivered < 1 || isThreadEnding())
                throw;
            m_failure = std::current_exception();
        }
    }

private:
    std::exception_ptr m_failure;
};

} // namespace qx::io
