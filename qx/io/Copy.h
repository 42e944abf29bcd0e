#pragma once

#include <cstdint>
#include <string>

#include <qx/core/String.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/io/Reader.h>
#include <qx/io/Writer.h>
#include <qx/platform/export.h>

/// @file
/// Whole streams at once. Each function goes on to the end of its source, and neither flushes nor
/// closes anything. When the source fails, what came before has been written, and the exception is
/// passed on. The pointers must not be null; references of the library become them by themselves:
///
///     const auto in = qx::makeReference<qx::io::FileInputStream>(u"from");
///     const auto out = qx::makeReference<qx::io::FileOutputStream>(
///         u"to", qx::io::FileOutputStream::TRUNC);
///     qx::io::copy(in, out);

namespace qx::io {

/// Writes what is left of @p in to @p out, in blocks.
/// @return the number of bytes
QX_API int64_t copy(InputStream& in, OutputStream& out);
/// The same for text, in units.
QX_API int64_t copy(Reader& in, Writer& out);
/// @throws ResultException with result::NullPointer
QX_API int64_t copy(InputStream* in, OutputStream* out);
QX_API int64_t copy(Reader* in, Writer* out);

/// What is left of @p in: bytes, whatever they mean.
/// @throws std::bad_alloc when they have no room in memory
[[nodiscard]] QX_API std::string readAll(InputStream& in);
/// The text that is left.
/// @throws std::bad_alloc for more units than a String can have
[[nodiscard]] QX_API String readAll(Reader& in);
/// @throws ResultException with result::NullPointer
[[nodiscard]] QX_API std::string readAll(InputStream* in);
[[nodiscard]] QX_API String readAll(Reader* in);
/// The same for a stream that is made for the call: readAll(FileInputStream("from")).
[[nodiscard]] inline std::string readAll(InputStream&& in) { return readAll(in); }
[[nodiscard]] inline String readAll(Reader&& in) { return readAll(in); }

} // namespace qx::io
