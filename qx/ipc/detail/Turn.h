#pragma once

#include <qx/core/Result.h>

namespace qx::ipc::detail {

/// Holds a unit of a semaphore for a scope, where there is one. Its giving back does not fail.
template <class Semaphore>
class Turn {
public:
    explicit Turn(Semaphore* semaphore) : m_semaphore(semaphore) {
        if (m_semaphore)
            m_semaphore->wait();
    }
    ~Turn() {
        if (m_semaphore)
            resultOf([this] { m_semaphore->signal(); });
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    Semaphore* const m_semaphore;
};

} // namespace qx::ipc::detail
