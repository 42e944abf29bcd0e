#pragma once

/// @file
/// Encodings by name and code page, for C and C++.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// An encoding with a code page. 16 bytes.
typedef struct QXEncodingInfo {
    /// 0-terminated and owned by the library.
    const char16_t* name;
    uint32_t codePage;
    /// 0
    uint32_t reserved;
} QXEncodingInfo;

/// Copies the records of all encodings into @p records. A caller may ask for their number first,
/// with a count of 0 and a null array.
/// @param count  the room in the array on entry, the number of records on return
/// @return 0; 0x80004009 when there is too little room, with nothing copied; 0x80070057 for a null
///     count, or for a null array with room
QX_API int32_t QXEnumerateEncInfo(uint32_t* count, QXEncodingInfo* records);

/// Stores the record of a code page.
/// @return 0; 0x80070057 for a null argument, 0x80004005 when there is none
QX_API int32_t QXGetEncInfoByCodePage(uint32_t codePage, QXEncodingInfo* record);
/// The same for a name or an alias, in any letter case.
QX_API int32_t QXGetEncInfoByName(const char16_t* name, QXEncodingInfo* record);

#ifdef __cplusplus
}
#endif
