#pragma once

/* Modules and component creation. A module identifies itself by an address inside its own code. */

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Tells the platform layer that the module came to life (1) or is about to go (0). */
QX_API int32_t QXModuleSetInitialized(const void* module, int32_t initialized);
/* Class identifier registered for a programmatic identifier; 0x80070002 when there is none. */
QX_API int32_t QXComClassIDFromProgID(const char16_t* progId, QXGUID* classId);
/* Creates a component and asks it for an interface; @p outer must be null. */
QX_API int32_t QXModuleComCreateObject(const void* module, const QXGUID* classId, void* outer,
                                       const QXGUID* interfaceId, void** object);

#ifdef __cplusplus
}
#endif
