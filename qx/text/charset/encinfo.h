#pragma once

/* Encodings by name and code page, for C and C++. */

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 16 bytes. The name is 0-terminated and owned by the library. */
typedef struct QXEncodingInfo {
    const char16_t* name;
    uint32_t codePage;
    uint32_t reserved; /* 0 */
} QXEncodingInfo;

/* Copies the records of all encodings into @p records. @p count holds the room of the array on
 * entry and receives the number of records. 0x80004009 when there is too little room, with nothing
 * copied: ask with 0 and a null array for the number. 0x80070057 for a null count, or a null array
 * with room. */
QX_API int32_t QXEnumerateEncInfo(uint32_t* count, QXEncodingInfo* records);

/* The record of a code page or of a name or alias in any letter case. 0x80070057 for a null
 * argument, 0x80004005 when there is none. */
QX_API int32_t QXGetEncInfoByCodePage(uint32_t codePage, QXEncodingInfo* record);
QX_API int32_t QXGetEncInfoByName(const char16_t* name, QXEncodingInfo* record);

#ifdef __cplusplus
}
#endif
