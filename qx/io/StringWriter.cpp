#include "qx/io/StringWriter.h"

namespace qx::io {

void StringWriter::write(const char16_t* from, int32_t length) {
    if (length > 0)
        m_text.append(from, length);
}

} // namespace qx::io
