#pragma once

/* Marks what the shared library exports; everything else stays hidden. */
#if defined(__GNUC__)
#define QX_API __attribute__((visibility("default")))
#else
#define QX_API
#endif
