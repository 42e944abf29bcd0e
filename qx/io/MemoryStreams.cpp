#include "qx/io/MemoryStreams.h"

#include <qx/io/detail/ExactClass.h>

namespace qx::io {

using detail::exactly;

MemorySource::MemorySource(InputStream& in) noexcept
    : m_buffered(exactly<BufferedInputStream>(in)), m_array(exactly<ByteArrayInputStream>(in)),
      m_buffer(exactly<ByteBufferInputStream>(in)) {}

MemorySink::MemorySink(OutputStream& out) noexcept
    : m_buffered(exactly<BufferedOutputStream>(out)), m_array(exactly<ByteArrayOutputStream>(out)),
      m_buffer(exactly<ByteBufferOutputStream>(out)) {}

} // namespace qx::io
