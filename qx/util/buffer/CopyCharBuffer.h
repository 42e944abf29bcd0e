#pragma once

#include <stdint.h>

#include <qx/platform/export.h>

#ifdef __cplusplus
class IQXCharBuffer;
extern "C" {
#else
typedef struct IQXCharBuffer IQXCharBuffer;
#endif

/// Replaces the text of @p destination with the whole text of @p source, another buffer.
/// @return the result of releasing the destination, 0 or more
/// @throws qx::ResultException when either is null and when a lock or a release fails; no lock
///     stays held
QX_API int32_t QXCopyCharBuffer(IQXCharBuffer* destination, const IQXCharBuffer* source);

#ifdef __cplusplus
}
#endif
