#include "qx/io/ByteBufferInputStream.h"

namespace qx::io {

int32_t ByteBufferInputStream::read(signed char* to, int32_t length) {
    if (m_buffer->remaining() == 0)
        return -1;
    if (length < 1)
        return 0;
    return static_cast<int32_t>(m_buffer->get(to, static_cast<unsigned int>(length)));
}

} // namespace qx::io
