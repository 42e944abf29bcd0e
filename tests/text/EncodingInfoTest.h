#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes the names of all encodings, each with a blank behind it; returns their number. */
int enumerateInC(char* names, size_t capacity);
size_t recordSizeInC(void);

#ifdef __cplusplus
}
#endif
