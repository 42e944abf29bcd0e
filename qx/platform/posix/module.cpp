#include <qx/platform/module.h>

#include <mutex>
#include <new>

#include <qx/platform/guid.h>
#include <qx/platform/result.h>
#include <qx/platform/text.h>

#include "qx/platform/posix/NodeList.h"
#include "qx/platform/posix/livemodule.h"

using namespace qx;
using namespace qx::platform;

namespace {

struct LiveModule {
    const void* identity;
    LiveModule* next = nullptr;
};

struct OfferedClass {
    OfferedClass(const QXGUID& id, QXComClassFactory create) noexcept
        : classId(id), factory(create) {}
    ~OfferedClass() { delete[] progId; }
    OfferedClass(const OfferedClass&) = delete;
    OfferedClass& operator=(const OfferedClass&) = delete;

    /// False when memory ran out.
    bool setProgId(const char16_t* text) noexcept {
        progId = new (std::nothrow) char16_t[static_cast<size_t>(QXStrLenW_32(text)) + 1];
        return progId != nullptr && QXStrCpyW(progId, text) != nullptr;
    }

    bool isCalled(const char16_t* name) const noexcept {
        return progId != nullptr && QXStrNICmpW(progId, name, INT32_MAX) == 0;
    }

    QXGUID classId;
    QXComClassFactory factory;
    char16_t* progId = nullptr;
    OfferedClass* next = nullptr;
};

/// What lives and what is offered in this process.
struct ModuleTable {
    std::mutex lock;
    int32_t liveCount = 0;
    NodeList<LiveModule> modules;
    NodeList<OfferedClass> classes;

    LiveModule** findModule(const void* identity) noexcept {
        return modules.find([&](const LiveModule& live) { return live.identity == identity; });
    }
    OfferedClass** findClass(const QXGUID& classId) noexcept {
        return classes.find([&](const OfferedClass& offered) {
            return QXComCompareGUID(&offered.classId, &classId) == 0;
        });
    }
    OfferedClass** findProgId(const char16_t* progId) noexcept {
        return classes.find([&](const OfferedClass& offered) { return offered.isCalled(progId); });
    }
};

constinit ModuleTable s_table;

int32_t addModule(const void* identity) noexcept {
    if (s_table.findModule(identity) != nullptr)
        return result::FileExists;
    auto* const live = new (std::nothrow) LiveModule{identity};
    if (live == nullptr)
        return result::OutOfMemory;
    s_table.modules.add(live);
    ++s_table.liveCount;
    return result::Ok;
}

int32_t removeModule(const void* identity) noexcept {
    LiveModule** const found = s_table.findModule(identity);
    if (found == nullptr)
        return result::NotFound;
    s_table.modules.remove(found);
    --s_table.liveCount;
    return result::Ok;
}

} // namespace

bool qx::platform::isLiveModule(const void* identity) noexcept {
    const std::lock_guard guard(s_table.lock);
    return s_table.findModule(identity) != nullptr;
}

int32_t QXModuleSetInitialized(const void* module, int32_t initialized) {
    if (module == nullptr)
        return result::NullPointer;
    const std::lock_guard guard(s_table.lock);
    return initialized != 0 ? addModule(module) : removeModule(module);
}

int32_t QXModuleGetLiveCount() {
    const std::lock_guard guard(s_table.lock);
    return s_table.liveCount;
}

int32_t QXComRegisterClassFactory(const char16_t* progId, const QXGUID* classId,
                                  QXComClassFactory factory) {
    if (classId == nullptr || factory == nullptr)
        return result::NullPointer;
    const std::lock_guard guard(s_table.lock);
    if (s_table.findClass(*classId) != nullptr ||
        (progId != nullptr && s_table.findProgId(progId) != nullptr))
        return result::FileExists;
    auto* const offered = new (std::nothrow) OfferedClass(*classId, factory);
    if (offered == nullptr)
        return result::OutOfMemory;
    if (progId != nullptr && !offered->setProgId(progId)) {
        delete offered;
        return result::OutOfMemory;
    }
    s_table.classes.add(offered);
    return result::Ok;
}

int32_t QXComRevokeClassFactory(const QXGUID* classId) {
    if (classId == nullptr)
        return result::NullPointer;
    const std::lock_guard guard(s_table.lock);
    OfferedClass** const found = s_table.findClass(*classId);
    if (found == nullptr)
        return result::NotFound;
    s_table.classes.remove(found);
    return result::Ok;
}

int32_t QXComClassIDFromProgID(const char16_t* progId, QXGUID* classId) {
    if (classId == nullptr)
        return result::NullPointer;
    *classId = {};
    if (progId == nullptr)
        return result::NullPointer;
    const std::lock_guard guard(s_table.lock);
    OfferedClass** const found = s_table.findProgId(progId);
    if (found == nullptr)
        return result::NotFound;
    *classId = (*found)->classId;
    return result::Ok;
}

int32_t QXModuleComCreateObject(const void* module, const QXGUID* classId, void* outer,
                                const QXGUID* interfaceId, void** object) {
    if (object == nullptr)
        return result::NullPointer;
    *object = nullptr;
    if (classId == nullptr || interfaceId == nullptr)
        return result::NullPointer;
    if (outer != nullptr)
        return result::NoAggregation;
    QXComClassFactory factory = nullptr;
    {
        const std::lock_guard guard(s_table.lock);
        if (s_table.findModule(module) == nullptr)
            return result::InvalidHandle;
        OfferedClass** const found = s_table.findClass(*classId);
        if (found == nullptr)
            return result::ClassNotAvailable;
        factory = (*found)->factory;
    }
    // Without the lock: a factory may create other components or offer more classes.
    const int32_t result = factory(interfaceId, object);
    if (result < 0)
        *object = nullptr;
    return result;
}
