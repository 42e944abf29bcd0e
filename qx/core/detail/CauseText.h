#pragma once

#include <cstdint>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

// A result code is all that gets out of a component. Where the library is on both sides of it, the
// description of the failure gets to the caller as well.

namespace qx::detail {

/// Listens, while it lives, to what components that its thread calls have to say about failures.
class CauseText {
public:
    CauseText() noexcept : m_outer(std::exchange(t_innermost, this)) {}
    ~CauseText() { t_innermost = m_outer; }
    CauseText(const CauseText&) = delete;
    CauseText& operator=(const CauseText&) = delete;

    /// Passes the result of the call on, unless it is negative.
    /// @throws ResultException with the result, and with the text that was told for it
    int32_t check(int32_t result) const {
        if (result >= 0) [[likely]]
            return result;
        throw ResultException(result, result == m_result ? m_text : String());
    }

    /// Keeps the description of a failure for whoever listens on this thread.
    static void tell(const Exception& failure) noexcept;

private:
    static constinit thread_local CauseText* t_innermost;

    CauseText* const m_outer;
    int32_t m_result = 0;
    String m_text;
};

/// resultOf that also tells the description of what @p body throws.
template <class Body>
int32_t resultTellingCause(Body&& body) noexcept {
    return resultOf([&] {
        try {
            return body();
        } catch (const Exception& failure) {
            CauseText::tell(failure);
            throw;
        }
    });
}

} // namespace qx::detail
