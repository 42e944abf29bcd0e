#pragma once

/// @file
/// The converters between encodings that the system has, as the codecs ask them for their tables. A
/// converter is used by one thread at a time.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Opens a converter by the system's names of two encodings; "WCHAR_T" stands for 32-bit code
/// points in the order of the machine. 0x80004007 where the system has none, 0x80070004 where it
/// cannot load one for want of descriptors.
QX_API int32_t QXConverterOpen(const char* to, const char* from, QXHandle* converter);
/// Frees the converter.
QX_API int32_t QXConverterClose(QXHandle converter);
/// Converts a text from its start on: @p inSize bytes at @p in into @p out, whose room in bytes
/// @p outSize is on entry, and what was written on return. @p isWhole is 1 to write what ends a
/// text as well, else 0. 0x8BB34102 for what is no text or has no form in the other encoding,
/// 0x80070026 for a text that ends within a character, 0x80004009 without room.
QX_API int32_t QXConverterRun(QXHandle converter, const void* in, int32_t inSize, void* out,
                              int32_t* outSize, int32_t isWhole);

#ifdef __cplusplus
}
#endif
