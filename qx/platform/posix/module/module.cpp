#include "qx/platform/module.h"

#include <mutex>
#include <new>

#include <qx/platform/guid.h>
#include <qx/platform/result.h>
#include <qx/platform/text.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/NodeList.h>
#include <qx/platform/posix/module/livemodule.h>
#include <qx/platform/posix/module/offeredclass.h>

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

constinit std::mutex s_lock;
constinit ModuleTable s_table; // guarded by s_lock

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

constexpr ForkSteps qx::platform::ModuleForkSteps = HeldInFork<s_lock>;

bool qx::platform::isLiveModule(const void* identity) noexcept {
    const std::lock_guard guard(s_lock);
    return s_table.findModule(identity) != nullptr;
}

bool qx::platform::findOfferedClass(const char16_t* progId, QXGUID& classId) noexcept {
    const std::lock_guard guard(s_lock);
    OfferedClass** const found = s_table.findProgId(progId);
    if (found != nullptr)
        classId = (*found)->classId;
    return found != nullptr;
}

QXComClassFactory qx::platform::offeredFactory(const QXGUID& classId) noexcept {
    const std::lock_guard guard(s_lock);
    OfferedClass** const found = s_table.findClass(classId);
    return found != nullptr ? (*found)->factory : nullptr;
}

int32_t QXModuleSetInitialized(const void* module, int32_t initialized) {
    if (module == nullptr)
        return result::NullPointer;
    const std::lock_guard guard(s_lock);
    return initialized != 0 ? addModule(module) : removeModule(module);
}

int32_t QXModuleGetLiveCount() {
    const std::lock_guard guard(s_lock);
    return s_table.liveCount;
}

int32_t QXComRegisterClassFactory(const char16_t* progId, const QXGUID* classId,
                                  QXComClassFactory factory) {
    if (classId == nullptr || factory == nullptr)
        return result::NullPointer;
    const std::lock_guard guard(s_lock);
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
    const std::lock_guard guard(s_lock);
    OfferedClass** const found = s_table.findClass(*classId);
    if (found == nullptr)
        return result::NotFound;
    s_table.classes.remove(found);
    return result::Ok;
}
