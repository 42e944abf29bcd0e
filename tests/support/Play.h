#pragma once

#include <cstdint>
#include <span>

#include "tests/support/Require.h"

namespace qxtest {

/// Bytes to play, or of anything else.
template <class Bytes>
Bytes randomBytes(std::size_t size, auto& random) {
    Bytes bytes(size, 0);
    for (auto& byte : bytes)
        byte = static_cast<typename Bytes::value_type>(random() >> 8);
    return bytes;
}

/// What reads operations from bytes and plays them on something and on its plain model. Throws
/// std::logic_error when the two come apart.
class Play {
protected:
    void start(std::span<const uint8_t> bytes) { m_bytes = bytes; }
    bool isOver() const { return m_bytes.empty(); }
    /// The next byte, 0 at the end.
    int byte() {
        if (m_bytes.empty())
            return 0;
        const int byte = m_bytes.front();
        m_bytes = m_bytes.subspan(1);
        return byte;
    }

private:
    std::span<const uint8_t> m_bytes;
};

} // namespace qxtest
