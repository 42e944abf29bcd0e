#pragma once

/// @file
/// Start-up and shut-down of the library. Loading and unloading the shared library call both. A
/// program may call them as well, in pairs: they nest, and only the first start-up and the last
/// shut-down do anything. Any thread may call them: a call waits for one that is under way.

#include <stdint.h>

#include <qx/platform/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Sets the process locale to the user's, makes the library-wide lock, and registers the runtime
/// classes and encodings.
/// @return 0, or the result code of the failure that stopped it; 0 to calls nested in another one,
///         whatever became of that
QX_API int32_t QXCLLibInit(void);

/// Frees what start-up and the use of the library left behind, and cleans up the socket system.
/// @return 0, or 0x80004005 when there is no start-up to undo or the socket system fails; the
///     library-wide lock then stays
QX_API int32_t QXCLLibUninit(void);

#ifdef __cplusplus
}
#endif
