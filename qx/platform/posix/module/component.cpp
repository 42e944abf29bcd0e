#include "qx/platform/module.h"

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

/// Asks a class that the registry has at @p version for an object.
int32_t createRegistered(uint64_t version, const QXGUID& classId, void* outer,
                         const QXGUID& interfaceId, void** object) {
    const auto factory = components::findFactory(version, classId);
    if (factory == nullptr)
        return result::ClassNotAvailable;
    return checkCreated(factory->create(outer, interfaceId, object), object);
}

template <int32_t (LoadedModule::*Call)() const noexcept>
int32_t callModule(const char16_t* path) noexcept {
    if (path == nullptr)
        return result::NullPointer;
    return resultOf([&] { return (*components::useModule(path).*Call)(); });
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
    return resultOf([&] {
        const auto found = components::findClass(components::registryVersion(), progId);
        if (!found)
            return result::NotFound;
        *classId = *found;
        return result::Ok;
    });
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
    return resultOf([&] {
        return createRegistered(components::registryVersion(), *classId, outer, *interfaceId,
                                object);
    });
}

int32_t QXComCreateObjectByProgID(const char16_t* progId, void* outer, const QXGUID* interfaceId,
                                  void** object) {
    if (object == nullptr)
        return result::NullPointer;
    *object = nullptr;
    if (progId == nullptr || interfaceId == nullptr)
        return result::NullPointer;
    QXGUID offeredId{};
    if (findOfferedClass(progId, offeredId)) {
        const QXComClassFactory offered = offeredFactory(offeredId);
        return offered != nullptr ? createOffered(offered, outer, *interfaceId, object)
                                  : result::NotFound; // revoked meanwhile
    }
    return resultOf([&] {
        const uint64_t version = components::registryVersion();
        const auto classId = components::findClass(version, progId);
        if (!classId)
            return result::NotFound;
        if (const QXComClassFactory offered = offeredFactory(*classId); offered != nullptr)
            return createOffered(offered, outer, *interfaceId, object);
        return createRegistered(version, *classId, outer, *interfaceId, object);
    });
}

int32_t QXComCreateObjectFromFile(const char* path, const QXGUID* classId,
                                  const QXGUID* interfaceId, void** object) {
    if (object == nullptr)
        return result::NullPointer;
    *object = nullptr;
    if (path == nullptr || classId == nullptr || interfaceId == nullptr)
        return result::NullPointer;
    return resultOf([&] {
        const components::Factory factory(components::useModuleFile(path), *classId);
        return checkCreated(factory.create(nullptr, *interfaceId, object), object);
    });
}

int32_t QXComFreeUnusedModules(uint32_t delayMs, int32_t* kept) {
    int32_t count = 0;
    const int32_t result = resultOf([&] {
        return components::tryFreeUnusedModules(delayMs, count) ? result::Ok : result::Busy;
    });
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
