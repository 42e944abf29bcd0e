#pragma once

/// @file
/// QX_API marks what the shared library exports; everything else stays hidden.
/// QX_INTERFACE marks interfaces, which have no code to export but a description of their type.
/// Where such descriptions are compared by their place, as by libc++abi, a program and the library
/// have to share it for casts from an interface; g++ compares them by name and makes them local.
/// QX_LOCAL marks constants in headers, of which each program and library then has its own: g++
/// makes unique symbols of those that could be shared, and what has one cannot be unloaded.
#if defined(__GNUC__)
#define QX_API __attribute__((visibility("default")))
#define QX_LOCAL __attribute__((visibility("hidden")))
#else
#define QX_API
#define QX_LOCAL
#endif
#if defined(__clang__)
#define QX_INTERFACE __attribute__((type_visibility("default")))
#else
#define QX_INTERFACE
#endif
