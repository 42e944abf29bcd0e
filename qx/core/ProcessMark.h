#pragma once

#include <cstdint>

#include <qx/platform/process.h>

namespace qx {

/// Remembers the process that an object was made in. A child made by fork has the object too, and
/// leaves to its parent what is done once: ending a document, giving back a connection.
class ProcessMark {
public:
    bool isFromParent() const noexcept { return QXProcessGetID() != m_number; }
    uint32_t number() const noexcept { return m_number; }

private:
    const uint32_t m_number = QXProcessGetID();
};

} // namespace qx
