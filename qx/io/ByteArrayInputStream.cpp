#include "qx/io/ByteArrayInputStream.h"

#include <algorithm>

#include <qx/core/Required.h>

namespace qx::io {

ByteArrayInputStream::ByteArrayInputStream(const signed char* bytes, int32_t length)
    : m_length(std::max(length, 0)) {
    if (m_length > 0)
        required(bytes);
    m_bytes = std::make_unique_for_overwrite<signed char[]>(static_cast<size_t>(m_length));
    std::copy_n(bytes, m_length, m_bytes.get());
}

int32_t ByteArrayInputStream::read(signed char* to, int32_t length) {
    if (m_position >= m_length)
        return -1;
    const int32_t count = std::min(length, m_length - m_position);
    if (count < 1)
        return 0;
    std::copy_n(m_bytes.get() + m_position, count, to);
    m_position += count;
    return count;
}

} // namespace qx::io
