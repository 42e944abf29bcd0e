#pragma once

/// @file
/// The C library's streams. Results are codes, negative on failure. Calls that a signal interrupts
/// are continued, and a closed pipe gives 0x8007006D and raises no signal.

#include <stdio.h>

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The next byte, 0 to 255; 0x80070026 at the end.
QX_API int32_t QXStdioReadByte(FILE* stream, int32_t* byte);
/// Bytes up to @p capacity or up to and with the next line feed; 0 of them at the end.
QX_API int32_t QXStdioReadLine(FILE* stream, void* buffer, int32_t capacity, int32_t* bytesRead);
/// Moves the position forward; @p skipped receives how far it moved.
QX_API int32_t QXStdioSkip(FILE* stream, int32_t count, int32_t* skipped);

/// One byte through the stream's buffer. While the stream is in the state of error that an earlier
/// failure leaves, this and the next fail and write nothing.
QX_API int32_t QXStdioWriteByte(FILE* stream, int32_t byte);
/// All bytes straight to the stream's descriptor, past its buffer.
QX_API int32_t QXStdioWrite(FILE* stream, const void* buffer, int32_t length);
/// Hands the bytes in the stream's buffer to the system.
QX_API int32_t QXStdioFlush(FILE* stream);
/// Does the same and closes the stream, which is gone even after a failure.
QX_API int32_t QXStdioClose(FILE* stream);

#ifdef __cplusplus
}
#endif
