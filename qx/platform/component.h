#pragma once

/// @file
/// What a component module is made of: the interfaces that every component has, as C sees them, the
/// functions that a module exports, and the note in its file that says which version of them it was
/// built for. A module in C++ has all of it from qx/pcom/ModuleExports.h.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

/// Version of what modules and the library expect of each other. A module is loaded when the major
/// number is the library's and the minor one, which counts additions, not above the library's.
#define QX_COMPONENT_INTERFACE_MAJOR 1
#define QX_COMPONENT_INTERFACE_MINOR 0

#define QX_COMPONENT_TEXT_(value) #value
#define QX_COMPONENT_TEXT(value) QX_COMPONENT_TEXT_(value)

/// States, once in a module and outside of functions, that it was built for version major.minor.
/// The note is read from the file before anything of the module runs: an ELF note of the owner "QX"
/// and type 1 with the two numbers as 32-bit words. Modules of this version say QX_COMPONENT_NOTE.
#define QX_COMPONENT_NOTE_OF(major, minor)                                                         \
    __asm__(".pushsection .note.qx.component, \"a\", %note\n\t"                                    \
            ".balign 4\n\t"                                                                        \
            ".long 3, 8, 1\n\t"                                                                    \
            ".asciz \"QX\"\n\t"                                                                    \
            ".balign 4\n\t"                                                                        \
            ".long " QX_COMPONENT_TEXT(major) ", " QX_COMPONENT_TEXT(minor) "\n\t"                 \
                                                                            ".popsection")
#define QX_COMPONENT_NOTE                                                                          \
    QX_COMPONENT_NOTE_OF(QX_COMPONENT_INTERFACE_MAJOR, QX_COMPONENT_INTERFACE_MINOR)

/// The interface that every component has. An interface is a pointer to a pointer to such a table;
/// tables of other interfaces begin with the same three functions. QueryInterface stores the
/// interface with a reference that the caller releases, or null: 0x80004002 for one that the
/// component does not have. AddRef and Release give the new count.
typedef struct QXUnknownTable {
    int32_t (*QueryInterface)(void* self, const QXGUID* interfaceId, void** object);
    uint32_t (*AddRef)(void* self);
    uint32_t (*Release)(void* self);
} QXUnknownTable;

/// The interface of what creates the components of one class; see IQXClassFactory.
typedef struct QXClassFactoryTable {
    QXUnknownTable unknown;
    int32_t (*CreateInstance)(void* self, void* outer, const QXGUID* interfaceId, void** object);
    int32_t (*LockServer)(void* self, int16_t lock);
} QXClassFactoryTable;

#ifdef __cplusplus
extern "C" {
#endif

// The functions that a module exports, under these names. They give result codes and let no
// exception out, and may be called from any thread.

/// The class factory of a class, as interface @p interfaceId with a reference for the caller.
/// 0x80040111 for a class that the module does not offer; @p object is null after a failure.
QX_API int32_t DllGetClassObject(const QXGUID* classId, const QXGUID* interfaceId, void** object);
/// 0 when no object of the module lives and no factory is locked: it may be unloaded. Else 1. A
/// factory by itself does not count.
QX_API int32_t DllCanUnloadNow(void);
/// Enters the module's classes into the registry with the path of the module's own file, all of
/// them or, after a failure, none.
QX_API int32_t DllRegisterServer(void);
/// Takes the module's classes out of the registry; 0x80070002 when none of them is there.
QX_API int32_t DllUnregisterServer(void);

#ifdef __cplusplus
}
#endif
