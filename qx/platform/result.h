#pragma once

/// @file
/// Result codes: 32-bit signed values, negative on failure. C programs use the QX_E_ names, C++
/// programs the constants of qx::result.

#include <stdint.h>

#include <qx/platform/export.h>

// clang-format off
enum {
    QX_OK                            = 0,
    QX_E_NOT_IMPLEMENTED             = (int32_t)0x80004001u,
    QX_E_NO_INTERFACE                = (int32_t)0x80004002u,
    QX_E_NULL_POINTER                = (int32_t)0x80004003u,
    QX_E_FAIL                        = (int32_t)0x80004005u, ///< unspecified failure
    QX_E_NOT_AVAILABLE               = (int32_t)0x80004007u, ///< not on this platform
    QX_E_BUFFER_TOO_SMALL            = (int32_t)0x80004009u,
    QX_E_NO_AGGREGATION              = (int32_t)0x80040110u,
    QX_E_CLASS_NOT_AVAILABLE         = (int32_t)0x80040111u,
    QX_E_NOT_FOUND                   = (int32_t)0x80070002u, ///< file or key
    QX_E_TOO_MANY_FILES              = (int32_t)0x80070004u, ///< no descriptor is left
    QX_E_ACCESS_DENIED               = (int32_t)0x80070005u,
    QX_E_INVALID_HANDLE              = (int32_t)0x80070006u,
    QX_E_OUT_OF_MEMORY               = (int32_t)0x8007000Eu,
    QX_E_END_OF_FILE                 = (int32_t)0x80070026u,
    QX_E_FILE_EXISTS                 = (int32_t)0x80070050u,
    QX_E_INVALID_ARGUMENT            = (int32_t)0x80070057u,
    QX_E_BROKEN_PIPE                 = (int32_t)0x8007006Du,
    QX_E_DISK_FULL                   = (int32_t)0x80070070u,
    QX_E_MODULE_NOT_FOUND            = (int32_t)0x8007007Eu, ///< a library, or one that it needs
    QX_E_SYMBOL_NOT_FOUND            = (int32_t)0x8007007Fu, ///< in a library
    QX_E_BUSY                        = (int32_t)0x800700AAu, ///< a try that would have to wait
    QX_E_NOT_A_MODULE                = (int32_t)0x800700BEu, ///< a library, but no component module
    QX_E_ALREADY_EXISTS              = (int32_t)0x800700B7u, ///< key
    QX_E_NOT_A_LIBRARY               = (int32_t)0x800700C1u,
    QX_E_FILE_TOO_LARGE              = (int32_t)0x800700DFu,
    QX_E_FOLDER_NOT_FOUND            = (int32_t)0x8007010Bu, ///< where a program was to run
    QX_E_NOT_OWNER                   = (int32_t)0x80070120u, ///< lock released by a stranger
    QX_E_NO_MORE_ITEMS               = (int32_t)0x80070103u, ///< end of a walk
    QX_E_OVERFLOW                    = (int32_t)0x80070216u, ///< count at its limit
    QX_E_DEADLOCK                    = (int32_t)0x8007046Bu, ///< would wait for itself
    QX_E_MODULE_VERSION              = (int32_t)0x8007051Au, ///< a module for another interface version
    QX_E_CORRUPT                     = (int32_t)0x80070570u, ///< damaged file
    QX_E_TIMED_OUT                   = (int32_t)0x800705B4u,
    QX_E_INVALID_CHARACTER           = (int32_t)0x8BB34101u,
    QX_E_UNMAPPABLE_CHARACTER        = (int32_t)0x8BB34102u,
    QX_E_UNKNOWN_ENCODING            = (int32_t)0x8BB34103u
};

#ifdef __cplusplus
namespace qx {
namespace result QX_LOCAL {

inline constexpr int32_t Ok                  = QX_OK;
inline constexpr int32_t NotImplemented      = QX_E_NOT_IMPLEMENTED;
inline constexpr int32_t NoInterface         = QX_E_NO_INTERFACE;
inline constexpr int32_t NullPointer         = QX_E_NULL_POINTER;
inline constexpr int32_t Fail                = QX_E_FAIL;
inline constexpr int32_t NotAvailable        = QX_E_NOT_AVAILABLE;
inline constexpr int32_t BufferTooSmall      = QX_E_BUFFER_TOO_SMALL;
inline constexpr int32_t NoAggregation       = QX_E_NO_AGGREGATION;
inline constexpr int32_t ClassNotAvailable   = QX_E_CLASS_NOT_AVAILABLE;
inline constexpr int32_t NotFound            = QX_E_NOT_FOUND;
inline constexpr int32_t TooManyFiles        = QX_E_TOO_MANY_FILES;
inline constexpr int32_t AccessDenied        = QX_E_ACCESS_DENIED;
inline constexpr int32_t InvalidHandle       = QX_E_INVALID_HANDLE;
inline constexpr int32_t OutOfMemory         = QX_E_OUT_OF_MEMORY;
inline constexpr int32_t EndOfFile           = QX_E_END_OF_FILE;
inline constexpr int32_t FileExists          = QX_E_FILE_EXISTS;
inline constexpr int32_t InvalidArgument     = QX_E_INVALID_ARGUMENT;
inline constexpr int32_t BrokenPipe          = QX_E_BROKEN_PIPE;
inline constexpr int32_t DiskFull            = QX_E_DISK_FULL;
inline constexpr int32_t ModuleNotFound      = QX_E_MODULE_NOT_FOUND;
inline constexpr int32_t SymbolNotFound      = QX_E_SYMBOL_NOT_FOUND;
inline constexpr int32_t Busy                = QX_E_BUSY;
inline constexpr int32_t NotAModule          = QX_E_NOT_A_MODULE;
inline constexpr int32_t AlreadyExists       = QX_E_ALREADY_EXISTS;
inline constexpr int32_t NotALibrary         = QX_E_NOT_A_LIBRARY;
inline constexpr int32_t FileTooLarge        = QX_E_FILE_TOO_LARGE;
inline constexpr int32_t FolderNotFound      = QX_E_FOLDER_NOT_FOUND;
inline constexpr int32_t NotOwner            = QX_E_NOT_OWNER;
inline constexpr int32_t NoMoreItems         = QX_E_NO_MORE_ITEMS;
inline constexpr int32_t Overflow            = QX_E_OVERFLOW;
inline constexpr int32_t Deadlock            = QX_E_DEADLOCK;
inline constexpr int32_t ModuleVersion       = QX_E_MODULE_VERSION;
inline constexpr int32_t Corrupt             = QX_E_CORRUPT;
inline constexpr int32_t TimedOut            = QX_E_TIMED_OUT;
inline constexpr int32_t InvalidCharacter    = QX_E_INVALID_CHARACTER;
inline constexpr int32_t UnmappableCharacter = QX_E_UNMAPPABLE_CHARACTER;
inline constexpr int32_t UnknownEncoding     = QX_E_UNKNOWN_ENCODING;

} // namespace result
} // namespace qx
#endif
// clang-format on
