#pragma once

/// @file
/// QX_API marks what the shared library exports; everything else stays hidden.
/// QX_LOCAL marks constants in headers, of which each program and library then has its own: g++
/// makes unique symbols of those that could be shared, and what has one cannot be unloaded.
#if defined(__GNUC__)
#define QX_API __attribute__((visibility("default")))
#define QX_LOCAL __attribute__((visibility("hidden")))
#else
#define QX_API
#define QX_LOCAL
#endif
