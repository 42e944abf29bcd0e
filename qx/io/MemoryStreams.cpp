#include "qx/io/MemoryStreams.h"

#include <typeinfo>

namespace qx::io {

namespace {

/// The stream as a @p Class when that is its very class, else null. Compared by address: a
/// description that a program has twice only means the long way.
template <class Class, class Base>
Class* exactly(Base& stream) noexcept {
    return &typeid(stream) == &typeid(Class) ? static_cast<Class*>(&stream) : nullptr;
}

} // namespace

MemorySource::MemorySource(InputStream& in) noexcept
    : m_buffered(exactly<BufferedInputStream>(in)), m_array(exactly<ByteArrayInputStream>(in)),
      m_buffer(exactly<ByteBufferInputStream>(in)) {}

MemorySink::MemorySink(OutputStream& out) noexcept
    : m_buffered(exactly<BufferedOutputStream>(out)), m_array(exactly<ByteArrayOutputStream>(out)),
      m_buffer(exactly<ByteBufferOutputStream>(out)) {}

} // namespace qx::io
