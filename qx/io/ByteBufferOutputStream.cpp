#include "qx/io/ByteBufferOutputStream.h"

namespace qx::io {

void ByteBufferOutputStream::write(const signed char* from, int32_t length) {
    if (length < 1)
        return;
    const auto wanted = static_cast<unsigned int>(length);
    if (m_buffer->put(from, wanted) < wanted)
        m_overflowed = 1;
}

} // namespace qx::io
