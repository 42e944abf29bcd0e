#pragma once

#include <cstdint>

#include <qx/platform/process.h>

namespace qx::transport {

/// Tells an object that a child made by fork has from its parent from one of its own.
class ForkMark {
public:
    bool isFromParent() const noexcept { return QXProcessGetID() != m_process; }

private:
    const uint32_t m_process = QXProcessGetID();
};

} // namespace qx::transport
