#pragma once

#include <qx/core/Result.h>
#include <qx/pcom/ClassFactory.h>
#include <qx/pcom/DllModule.h>
#include <qx/pcom/ModuleStatic.h>
#include <qx/platform/component.h>

/// Turns a shared library into a component module: states the interface version and exports the
/// four functions of qx/platform/component.h. Use it once, outside of all namespaces:
///
/// @code
/// qx::pcom::ClassData s_classes[] = {qx::pcom::classRow<Thing>(), {}};
/// QX_DEFINE_MODULE(s_classes)
/// @endcode
///
/// @p table is an array of qx::pcom::ClassData that ends with an empty row. The first call of one
/// of the functions makes the module's object, which lives until the module is unloaded by a
/// function of qx/platform/module.h. The function that loads the module makes that call at once,
/// and until it is back no other thread can fork, nor load or unload a library through qx.
#define QX_DEFINE_MODULE(table) QX_DEFINE_MODULE_OF(qx::pcom::DllModule, table)

/// The same for a module whose object has the class @p Module, derived from qx::pcom::DllModule.
/// Its constructor runs in that first call, and therefore must not wait for a thread that loads
/// something, as a component or the codecs of an encoding. Begin such work with the first object.
#define QX_DEFINE_MODULE_OF(Module, table)                                                         \
    QX_COMPONENT_NOTE;                                                                             \
    static constinit qx::pcom::ModuleStatic<Module> qxModuleObject;                                \
    [[gnu::destructor]] static void qxEndModule() { qxModuleObject.end(); }                        \
    static Module& qxThisModule() {                                                                \
        static Module& module = qxModuleObject.make(table);                                        \
        return module;                                                                             \
    }                                                                                              \
    int32_t DllGetClassObject(const QXGUID* classId, const QXGUID* interfaceId, void** object) {   \
        if (!object)                                                                               \
            return qx::result::NullPointer;                                                        \
        *object = nullptr;                                                                         \
        if (!classId || !interfaceId)                                                              \
            return qx::result::NullPointer;                                                        \
        return qx::resultOf(                                                                       \
            [&] { return qxThisModule().GetClassObject(*classId, *interfaceId, object); });        \
    }                                                                                              \
    int32_t DllCanUnloadNow() {                                                                    \
        return qx::resultOf([] { return qxThisModule().CanUnloadNow(); });                         \
    }                                                                                              \
    int32_t DllRegisterServer() {                                                                  \
        return qx::resultOf([] {                                                                   \
            /* A function: its address lies in this module, whatever the linker shares. */         \
            return qxThisModule().RegisterServer(reinterpret_cast<const void*>(&qxThisModule));    \
        });                                                                                        \
    }                                                                                              \
    int32_t DllUnregisterServer() {                                                                \
        return qx::resultOf([] { return qxThisModule().UnregisterServer(); });                     \
    }                                                                                              \
    static_assert(true, "takes the semicolon behind the macro")
