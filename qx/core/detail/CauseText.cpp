#include "qx/core/detail/CauseText.h"

namespace qx::detail {

constinit thread_local CauseText* CauseText::t_innermost = nullptr;

void CauseText::tell(const Exception& failure) noexcept {
    CauseText* const listener = t_innermost;
    if (!listener)
        return;
    // Without memory for the text the code has to do.
    resultOf([&] {
        listener->m_text = String(failure.getDescription(), String::AM_COPY); // the module may go
        listener->m_result = failure.getResult();
    });
}

} // namespace qx::detail
