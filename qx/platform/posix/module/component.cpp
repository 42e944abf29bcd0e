#include "qx/platform/module.h"

#include <memory>

#include <qx/platform/result.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/module/ComponentCache.h>
#include <qx/platform/posix/module/livemodule.h>
#include <qx/platform/posix/module/offeredclass.h>

using namespace qx;
using namespace qx::platform;

namespace {

/// Holds what created an object to its word: an object without a failure, none with one.
int32_t checkCreated(int32_t result, void** object) noexcept {
    if (result >= 0 && *object == nullptr)
        return result::Fail;
    if (result < 0)
        *object = nullptr;
    return result;
}

/// Asks a class that this process offers for an object. Without a lock: its function may create
/// other components or offer more classes.
int32_t createOffered(QXComClassFactory factory, const void* outer, const QXGUID& interfaceId,
                      void** object) noexcept {
    if (outer != nullptr)
        return result::NoAggregation;
    return checkCreated(withinModule([&] { return factory(&interfaceId, object); }), object);
}

int32_t findRegisteredClass(const char16_t* progId, uint64_t& version, QXGUID& classId) noexcept {
    if (const int32_t result = components::registryVersion(version); result < 0)
        return result;
    return withinMemory([&] { return components::findClass(version, progId, classId); });
}

/// Asks a class that the registry has at @p version for an object.
int32_t createRegistered(uint64_t version, const QXGUID& classId, void* outer,
                         const QXGUID& interfaceId, void** object) noexcept {
    std::shared_ptr<const components::Factory> factory;
    const int32_t result =
        withinMemory([&] { return components::findFactory(version, classId, factory); });
    if (result < 0)
        return result;
    return checkCreated(factory->create(outer, interfaceId, object), object);
}

template <int32_t (LoadedModule::*Call)() const noexcept>
int32_t callModule(const char16_t* path) noexcept {
    if (path == nullptr)
        return result::NullPointer;
    std::shared_ptr<LoadedModule> module;
    const int32_t result = withinMemory([&] { return components::useModule(path, module); });
    return result < 0 ? result : (*module.*Call)();
}

} // namespace

int32_t QXComClassIDFromProgID(const char16_t* progId, QXGUID* classId) {
    if (classId == nullptr)
        return result::NullPointer;
    *classId = {};
    if (progId == nullptr)
        return result::NullPointer;
    if (findOfferedClass(progId, *classId))
        return result::Ok;
    uint64_t version = 0;
    const int32_t result = findRegisteredClass(progId, version, *classId);
    if (result < 0)
        *classId = {};
    return result;
}

int32_t QXModuleComCreateObject(const void* module, const QXGUID* classId, void* outer,
                                const QXGUID* interfaceId, void** object) {
    if (object == nullptr)
        return result::NullPointer;
    *object = nullptr;
    if (classId == nullptr || interfaceId == nullptr)
        return result::NullPointer;
    if (!isLiveModule(module))
        return result::InvalidHandle;
    if (const QXComClassFactory offered = offeredFactory(*classId); offered != nullptr)
        return createOffered(offered, outer, *interfaceId, object);
    uint64_t version = 0;
    if (const int32_t result = components::registryVersion(version); result < 0)
        return result == result::NotFound ? result::ClassNotAvailable : result;
    return createRegistered(version, *classId, outer, *interfaceId, object);
}

int32_t QXComCreateObjectByProgID(const char16_t* progId, void* outer, const QXGUID* interfaceId,
                                  void** object) {
    if (object == nullptr)
        return result::NullPointer;
    *object = nullptr;
    if (progId == nullptr || interfaceId == nullptr)
        return result::NullPointer;
    QXGUID classId{};
    uint64_t version = 0;
    const bool isOffered = findOfferedClass(progId, classId);
    if (!isOffered) {
        const int32_t result = findRegisteredClass(progId, version, classId);
        if (result < 0)
            return result;
    }
    if (const QXComClassFactory offered = offeredFactory(classId); offered != nullptr)
        return createOffered(offered, outer, *interfaceId, object);
    return isOffered ? result::NotFound // revoked meanwhile
                     : createRegistered(version, classId, outer, *interfaceId, object);
}

int32_t QXComFreeUnusedModules(uint32_t delayMs, int32_t* kept) {
    int32_t count = 0;
    const int32_t result =
        withinMemory([&] { return components::freeUnusedModules(delayMs, count); });
    if (kept != nullptr)
        *kept = count;
    return result;
}

int32_t QXComRegisterModule(const char16_t* path) {
    return callModule<&LoadedModule::registerServer>(path);
}

int32_t QXComUnregisterModule(const char16_t* path) {
    return callModule<&LoadedModule::unregisterServer>(path);
}
