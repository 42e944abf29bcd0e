#pragma once

#include <qx/exec/Thread.h>

namespace qx::exec::detail {

struct ThreadHandle {
    /// Takes the handle of a started thread: whoever has it joins or detaches the thread, and the
    /// object, which cannot be joined any more, may go.
    static QXHandle takeFrom(Thread& thread) noexcept { return thread.m_handle.detach(); }
};

} // namespace qx::exec::detail
