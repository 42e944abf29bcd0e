#include "qx/core/runtime/Startup.h"

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <iostream>
#include <utility>

#include <qx/core/LiveObjects.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/core/detail/Subsystem.h>
#include <qx/core/runtime/ClassManager.h>
#include <qx/core/runtime/GlobalLock.h>
#include <qx/platform/detail/LeavingThreads.h>
#include <qx/platform/module.h>
#include <qx/sync/Mutex.h>

namespace qx {

namespace {

/// In the order of shut-down: encodings go before the classes, the network after them.
constexpr const Subsystem* Subsystems[] = {
    &text::charset::subsystem, &coreSubsystem,   &net::subsystem,  &sync::subsystem,
    &collections::subsystem,   &util::subsystem, &io::subsystem,   &exec::subsystem,
    &math::subsystem,          &pcom::subsystem, &i18n::subsystem,
};

constinit std::atomic<int> s_startUps{0};

void startUp() {
    std::setlocale(LC_ALL, "");
    Reference<sync::LockObject> lock(new sync::Mutex("QXCL::g_pGlobalLock"));
    g_pGlobalLock = lock.detach();
    ClassManagerBase& manager = *ClassManager::getInstance();
    for (const Subsystem* const each : Subsystems) {
        for (const ClassRow& row : each->classes)
            manager.registerClass(row.name, row.type, row.creator);
    }
    for (const Subsystem* const each : Subsystems) {
        if (each->start)
            each->start();
    }
}

void shutDown() {
    for (const Subsystem* const each : Subsystems) {
        if (each->stop)
            each->stop();
    }
    Reference<sync::LockObject>::attach(std::exchange(g_pGlobalLock, nullptr)).reset();
}

[[gnu::constructor]] void attachProcess() {
    QXCLLibInit();
    QXModuleSetInitialized(libraryIdentity(), 1);
}

[[gnu::destructor]] void detachProcess() {
    platform::joinLeavingThreads();
    QXModuleSetInitialized(libraryIdentity(), 0);
    QXCLLibUninit();
    for (const Subsystem* const each : Subsystems) {
        if (each->unload)
            each->unload();
    }
    if (LiveObjects::areListed() && std::getenv("QX_LEAK_LIST"))
        LiveObjects::print(std::cerr);
}

} // namespace
} // namespace qx

int32_t QXCLLibInit() {
    if (++qx::s_startUps != 1)
        return qx::result::Ok;
    return qx::resultOf(qx::startUp);
}

int32_t QXCLLibUninit() {
    // A compare loop rather than a decrement: a surplus call must not unbalance the count.
    int count = qx::s_startUps;
    do {
        if (count < 1)
            return qx::result::Fail;
    } while (!qx::s_startUps.compare_exchange_weak(count, count - 1));
    return count == 1 ? qx::resultOf(qx::shutDown) : qx::result::Ok;
}
