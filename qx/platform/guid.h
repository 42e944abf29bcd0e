#pragma once

/// @file
/// Globally unique identifiers. The text form is {8-4-4-4-12} in upper-case hexadecimal digits.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Makes a random identifier (version 4).
QX_API int32_t QXComGenerateGUID(QXGUID* guid);
/// Reads the braced text form, either letter case; 0x80070057 for anything else.
QX_API int32_t QXComGUIDFromString(const char16_t* text, QXGUID* guid);
/// Writes 38 units and the 0 unit; 0x80004009 for a capacity below 39.
QX_API int32_t QXComStringFromGUID(const QXGUID* guid, char16_t* buffer, int32_t capacity);
/// Orders by the fields from first to last: negative, 0 when equal, positive.
QX_API int32_t QXComCompareGUID(const QXGUID* left, const QXGUID* right);

#ifdef __cplusplus
}
#endif
