#pragma once

/*
 * Modules and component creation. A module identifies itself by an address inside its own code.
 * Class identifiers are found in the table of class factories that programs and modules fill, and
 * programmatic identifiers without regard to letter case. All functions may be called from any
 * thread.
 */

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Tells the platform layer that the module came to life (1) or is about to go (0). 0x80070050 for a
 * module that lives already, 0x80070002 for one that does not live. */
QX_API int32_t QXModuleSetInitialized(const void* module, int32_t initialized);
/* Number of modules that live. */
QX_API int32_t QXModuleGetLiveCount(void);

/* Creates an object and stores its interface @p interfaceId, with a reference that the caller owns.
 * Returns a result code; nothing may be thrown. */
typedef int32_t (*QXComClassFactory)(const QXGUID* interfaceId, void** object);

/* Offers a class to the whole process until it is revoked. @p progId is copied; null for a class
 * without one. 0x80070050 when the class or the programmatic identifier is offered already. */
QX_API int32_t QXComRegisterClassFactory(const char16_t* progId, const QXGUID* classId,
                                         QXComClassFactory factory);
/* 0x80070002 when the class is not offered. A creation that another thread has begun may still call
 * the factory. */
QX_API int32_t QXComRevokeClassFactory(const QXGUID* classId);

/* Class identifier registered for a programmatic identifier; 0x80070002 when there is none. */
QX_API int32_t QXComClassIDFromProgID(const char16_t* progId, QXGUID* classId);
/* Creates a component for @p module, which must live (0x80070006), and asks it for an interface;
 * @p outer must be null (0x80040110). 0x80040111 for a class that nobody offers. */
QX_API int32_t QXModuleComCreateObject(const void* module, const QXGUID* classId, void* outer,
                                       const QXGUID* interfaceId, void** object);

#ifdef __cplusplus
}
#endif
