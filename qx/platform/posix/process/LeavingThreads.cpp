#include "qx/platform/detail/LeavingThreads.h"

#include <atomic>
#include <dlfcn.h>
#include <link.h>
#include <mutex>
#include <new>

#include <qx/platform/thread.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/NodeList.h>
#include <qx/platform/posix/process/TryJoin.h>

namespace qx::platform {

namespace {

struct LeavingThread {
    QXHandle thread;
    LeavingThread* next = nullptr;
};

constinit std::mutex s_lock;
constinit NodeList<LeavingThread> s_threads; // guarded by s_lock

constinit std::atomic<int> s_running{0};

/// In a child, which has none of them. Whether the one thread there is counted does not matter: it
/// is the one that ends the process.
void forgetThreads() noexcept {
    s_running = 0;
    s_threads.removeAll([](const LeavingThread& each) {
        QXThreadDetach(each.thread);
        return true;
    });
}

} // namespace

constexpr ForkSteps LeavingForkSteps = HeldInFork<s_lock, forgetThreads>;

void leaveThread(QXHandle thread) noexcept {
    auto* const added = new (std::nothrow) LeavingThread{thread};
    if (added == nullptr) {
        QXThreadDetach(thread);
        return;
    }
    const std::lock_guard guard(s_lock);
    // What an ended thread leaves is freed here, so that the list stays short. Not by a join that
    // waits: the caller may be in the list.
    s_threads.removeAll([](const LeavingThread& each) { return tryJoin(each.thread); });
    s_threads.add(added);
}

void joinLeavingThreads() noexcept {
    std::unique_lock lock(s_lock);
    while (LeavingThread** const first =
               s_threads.find([](const LeavingThread&) { return true; })) {
        LeavingThread* const taken = s_threads.take(first);
        lock.unlock(); // the thread may have another one to leave
        void* value = nullptr;
        QXThreadJoin(taken->thread, &value);
        delete taken;
        lock.lock();
    }
}

void threadBegins() noexcept { s_running.fetch_add(1, std::memory_order_relaxed); }

void threadEnds() noexcept { s_running.fetch_sub(1, std::memory_order_release); }

bool doThreadsRun() noexcept { return s_running.load(std::memory_order_acquire) > 0; }

void keepLibraryLoaded() noexcept {
    Dl_info info;
    void* found = nullptr;
    if (::dladdr1(reinterpret_cast<const void*>(&keepLibraryLoaded), &info, &found,
                  RTLD_DL_LINKMAP) == 0)
        return;
    const auto* const self = static_cast<const link_map*>(found);
    if (self == nullptr || self->l_name[0] == 0) // a part of the program, which stays anyway
        return;
    const LoaderCall call;
    ::dlopen(self->l_name, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

} // namespace qx::platform
