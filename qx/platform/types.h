#pragma once

/// @file
/// Types that the C interface shares with C++.

#include <stdint.h>

#ifndef __cplusplus
/// One UTF-16 code unit; a keyword in C++.
typedef __CHAR16_TYPE__ char16_t;
#endif

/// Opaque handle of a platform object. All ones means none.
typedef uint64_t QXHandle;

/// 16-byte globally unique identifier in the standard field layout.
typedef struct QXGUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
} QXGUID;
