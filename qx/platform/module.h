#pragma once

/// @file
/// Modules, shared libraries and component creation. A module identifies itself by an address
/// inside its own code. Class identifiers are found in the table of class factories that programs
/// and modules fill, then in the registry; programmatic identifiers without regard to letter case.
/// All functions may be called from any thread.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Tells the platform layer that the module came to life (1) or is about to go (0). 0x80070050 for
/// a module that lives already, 0x80070002 for one that does not live.
QX_API int32_t QXModuleSetInitialized(const void* module, int32_t initialized);
/// Number of modules that live.
QX_API int32_t QXModuleGetLiveCount(void);

/// Loads a shared library with all that it needs, or counts one more user of it, for @p module,
/// which must live (0x80070006). A path with a slash or backslash names the file; a plain name is
/// looked up where the system keeps libraries. 0x80070002 and 0x80070005 for a file that is not
/// there or not readable, 0x800700C1 for one that is no library, 0x8007007E for a name that is not
/// found and for a library that lacks something it needs.
QX_API int32_t QXModuleLibOpen(const void* module, const char16_t* path, QXHandle* library);
/// Why the calling thread's last QXModuleLibOpen or QXModuleComCreateObject could not load a
/// library, in the words of the system's loader, cut to @p capacity bytes with the nul; empty when
/// it was not asked, and once the text was fetched.
QX_API void QXModuleErrorText(char* buffer, int32_t capacity);
/// Unloads the library with its last user. @p module need not live any more.
QX_API int32_t QXModuleLibClose(const void* module, QXHandle library);
/// Not 0 while the calling thread unloads a library by a function of this header: for what ends
/// with a module, but not with the process, which leaves modules as they are.
QX_API int32_t QXModuleIsUnloading(void);
/// Absolute path of the file of the program or shared library that @p module, an address inside it,
/// belongs to. 0x8007007E for an address in none, 0x80004009 when it does not fit.
QX_API int32_t QXModuleGetFileName(const void* module, char* buffer, int32_t capacity);
/// 1 when what has @p address in memory is sure to stay there as long as what has @p user: both are
/// in one program or shared library, or the first is in the program itself or in this library. 0
/// otherwise, and where it cannot be told. Waits for no lock of the loader.
QX_API int32_t QXModuleOutlives(const void* address, const void* user);
/// Address of a function or variable of the library or of one that it needs; 0x8007007F when there
/// is none of that name.
QX_API int32_t QXLibGetSymbol(QXHandle library, const char16_t* name, void** symbol);

/// Creates an object and stores its interface @p interfaceId, with a reference that the caller
/// owns. Returns a result code; nothing may be thrown.
typedef int32_t (*QXComClassFactory)(const QXGUID* interfaceId, void** object);

/// Offers a class to the whole process until it is revoked. @p progId is copied; null for a class
/// without one. 0x80070050 when the class or the programmatic identifier is offered already.
QX_API int32_t QXComRegisterClassFactory(const char16_t* progId, const QXGUID* classId,
                                         QXComClassFactory factory);
/// Ends the offer of a class; 0x80070002 when it is not offered. A creation that another thread has
/// begun may still call the factory.
QX_API int32_t QXComRevokeClassFactory(const QXGUID* classId);

/// Beside the classes that the process itself offers there are those of component modules (see
/// qx/platform/component.h), which the registry names below QX_HKEY_CLASSES_64: a programmatic
/// identifier's subkey CLSID has the class identifier as its default value, else its subkey CurVer
/// another programmatic identifier; below CLSID the subkey InprocServer32 of the class identifier
/// has the path of the module. The module is loaded by the first creation and stays. What was
/// looked up is kept until the registry changes, whoever changes it: a creation costs one look at
/// the status of the registry's file.
///
/// A module is loaded by absolute path only (0x80070057), only when its file, each folder above it
/// and each link on the way belong to the user or the superuser and nobody else may write them
/// (0x80070005; folders in which everybody may make files, but change only his own, are fine, and
/// so is a group that /etc/passwd and /etc/group say to be the user's alone), and only when its
/// file states an interface version that fits: 0x800700C1 for a file that is no library, 0x800700BE
/// for a library that is no module, 0x8007051A for another version. All of that comes before
/// anything in it runs; 0x8007007E when it then cannot be loaded, 0x8007007F when it lacks an
/// exported function, 0x80004005 when it throws or gives neither an object nor an error.

/// Class identifier registered for a programmatic identifier; 0x80070002 when there is none.
QX_API int32_t QXComClassIDFromProgID(const char16_t* progId, QXGUID* classId);
/// Creates a component for @p module, which must live (0x80070006), and asks it for an interface.
/// @p outer, the component that the new one is to be a part of, is for registered classes;
/// null for none, 0x80040110 for a class that cannot be a part. 0x80040111 for a class that is
/// neither offered nor registered; else the failures above and those of the class.
QX_API int32_t QXModuleComCreateObject(const void* module, const QXGUID* classId, void* outer,
                                       const QXGUID* interfaceId, void** object);
/// The same by programmatic identifier, for any caller; 0x80070002 when there is none of that name.
QX_API int32_t QXComCreateObjectByProgID(const char16_t* progId, void* outer,
                                         const QXGUID* interfaceId, void** object);

/// Creates a component of the module in the file @p path, an absolute one in the form of the
/// system, which need not be registered; the rules for modules and the failures are the same.
QX_API int32_t QXComCreateObjectFromFile(const char* path, const QXGUID* classId,
                                         const QXGUID* interfaceId, void** object);

/// Unloads the modules that have no object alive, no factory locked and no creation under way, and
/// were found so by each call since one at least @p delayMs ago. The time is for the code of a
/// module that still runs after its last object is counted out, which are that object's destructor
/// and the end of its Release: it must be longer than they take. With 0 the caller knows that no
/// thread is there. @p kept, which may be null, is the number of modules that stay loaded, also
/// because somebody else loaded them too or the system cannot unload them, such as one with a
/// unique symbol (see the guide, or -fno-gnu-unique of g++). 0x800700AA while another thread is in
/// this call.
///
/// As long as a module is loaded this library is too, whoever else unloads it; at the end of the
/// process modules that are loaded are left as they are.
QX_API int32_t QXComFreeUnusedModules(uint32_t delayMs, int32_t* kept);

/// Has the module in a file enter its classes into the registry; see DllRegisterServer.
QX_API int32_t QXComRegisterModule(const char16_t* path);
/// Has the module in a file take its classes out of the registry; see DllUnregisterServer.
QX_API int32_t QXComUnregisterModule(const char16_t* path);

#ifdef __cplusplus
}
#endif
