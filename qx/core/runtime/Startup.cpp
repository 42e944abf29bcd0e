#include "qx/core/runtime/Startup.h"

#include <clocale>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <optional>
#include <utility>

#include <qx/core/LiveObjects.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/core/detail/Subsystem.h>
#include <qx/core/runtime/ClassManager.h>
#include <qx/core/runtime/GlobalLock.h>
#include <qx/platform/detail/ForkWatch.h>
#include <qx/platform/detail/LeavingThreads.h>
#include <qx/platform/module.h>
#include <qx/sync/ForkSafeMutex.h>
#include <qx/sync/Mutex.h>

namespace qx {

namespace {

/// In the order of shut-down: encodings go before the classes, the network after them.
constexpr const Subsystem* Subsystems[] = {
    &text::charset::subsystem, &coreSubsystem,   &net::subsystem,  &sync::subsystem,
    &collections::subsystem,   &util::subsystem, &io::subsystem,   &exec::subsystem,
    &math::subsystem,          &pcom::subsystem, &i18n::subsystem,
};

/// As long as the library is there. Recursive: what starts or stops may itself ask for the library.
constinit std::optional<sync::ForkSafeMutex> s_startUpLock;
constinit int s_startUps = 0; // guarded by s_startUpLock

/// Keeps others out until what the caller starts or stops is done.
std::unique_lock<sync::ForkSafeMutex> holdStartUp() {
    return s_startUpLock ? std::unique_lock(*s_startUpLock)
                         : std::unique_lock<sync::ForkSafeMutex>();
}

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

constinit platform::ForkNode s_forkNode{&platform::HeldIfThere<s_startUpLock>};

[[gnu::constructor]] void attachProcess() {
    resultOf([] { s_startUpLock.emplace("qx/core/runtime/Startup::s_startUpLock"); });
    platform::enterForksFirst(s_forkNode); // in front of the global lock, which starting makes
    QXCLLibInit();
    QXModuleSetInitialized(libraryIdentity(), 1);
}

[[gnu::destructor]] void detachProcess() {
    platform::joinLeavingThreads();
    if (!platform::doThreadsRun()) {
        QXModuleSetInitialized(libraryIdentity(), 0);
        QXCLLibUninit();
        s_startUpLock.reset();
        for (const Subsystem* const each : Subsystems) {
            if (each->unload)
                each->unload();
        }
    }
    if (LiveObjects::areListed() && std::getenv("QX_LEAK_LIST"))
        LiveObjects::print(std::cerr);
}

} // namespace
} // namespace qx

int32_t QXCLLibInit() {
    const auto alone = qx::holdStartUp();
    if (++qx::s_startUps != 1)
        return qx::result::Ok;
    return qx::resultOf(qx::startUp);
}

int32_t QXCLLibUninit() {
    const auto alone = qx::holdStartUp();
    if (qx::s_startUps < 1) // a surplus call must not unbalance the count
        return qx::result::Fail;
    return --qx::s_startUps == 0 ? qx::resultOf(qx::shutDown) : qx::result::Ok;
}
