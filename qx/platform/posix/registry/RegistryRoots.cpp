#include "qx/platform/posix/registry/RegistryRoots.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <pwd.h>
#include <unistd.h>

#include <qx/platform/detail/LeavingThreads.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/module/trust.h>

namespace qx::platform::registry {

namespace {

constexpr const char* FileNames[RootCount] = {"classes-32.qxreg", "config-32.qxreg", "user.qxreg",
                                              "classes-64.qxreg", "config-64.qxreg"};

/// A store with the next older one. Those of a folder that is not used any more are kept: a thread
/// may still be in the middle of asking them.
struct StoreNode {
    StoreNode(std::string file, StoreNode* before)
        : path(std::move(file)), store(path), next(before) {}

    const std::string path;
    Store store;
    StoreNode* next;
};

/// Plain memory, so that it may be used before and after every static object.
constinit std::array<std::atomic<StoreNode*>, RootCount> s_present;
constinit std::mutex s_lock; // for what follows and for changes of s_present
constinit StoreNode* s_all = nullptr;
constinit std::string* s_folder = nullptr; // null: the user's

/// The store of a file, which may have been used before.
StoreNode* nodeOf(const std::string& path) {
    for (StoreNode* node = s_all; node != nullptr; node = node->next) {
        if (node->path == path)
            return node;
    }
    return s_all = new StoreNode(path, s_all);
}

void beforeFork(void*) noexcept {
    s_lock.lock();
    for (StoreNode* node = s_all; node != nullptr; node = node->next)
        node->store.lock();
}

void afterForkInParent(void*) noexcept {
    for (StoreNode* node = s_all; node != nullptr; node = node->next)
        node->store.unlock();
    s_lock.unlock();
}

void afterForkInChild(void*) noexcept {
    for (StoreNode* node = s_all; node != nullptr; node = node->next)
        node->store.renewLocks();
    s_lock.unlock();
}

std::string homeFolder() {
    if (const char* const home = ::secure_getenv("HOME"); home != nullptr && *home == '/')
        return home;
    passwd entry;
    passwd* found = nullptr;
    std::string texts(16384, '\0');
    if (::getpwuid_r(::geteuid(), &entry, texts.data(), texts.size(), &found) != 0 ||
        found == nullptr)
        return {};
    return entry.pw_dir;
}

std::string folderOfUser() {
    if (hasRightsBeyondUser())
        return {};
    const char* const home = ::secure_getenv("XDG_DATA_HOME");
    std::string folder;
    if (home != nullptr && *home == '/')
        folder = home;
    else if (folder = homeFolder(); !folder.empty())
        folder += "/.local/share";
    else
        return {};
    return folder + "/qx/registry";
}

/// For holders of s_lock.
std::string chosenFolder() { return s_folder == nullptr ? folderOfUser() : *s_folder; }

[[gnu::destructor]] void freeStores() {
    if (doThreadsRun()) // and may be here
        return;
    const std::lock_guard guard(s_lock);
    for (auto& present : s_present)
        present = nullptr;
    while (s_all != nullptr)
        delete std::exchange(s_all, s_all->next);
    delete std::exchange(s_folder, nullptr);
}

} // namespace

Store* storeOf(ENUM_QX_HKEY root) {
    if (root < 0 || root >= RootCount)
        throw Failure{result::InvalidArgument};
    auto& present = s_present[static_cast<size_t>(root)];
    if (StoreNode* const node = present.load(std::memory_order_acquire); node != nullptr)
        return &node->store;
    const std::lock_guard guard(s_lock);
    StoreNode* node = present;
    if (node == nullptr) {
        const std::string folder = chosenFolder();
        if (folder.empty())
            return nullptr;
        node = nodeOf(folder + '/' + FileNames[root]);
        present.store(node, std::memory_order_release);
    }
    return &node->store;
}

std::string folderInUse() {
    const std::lock_guard guard(s_lock);
    return chosenFolder();
}

void useFolder(const std::string& folder) {
    std::string* const used = folder.empty() ? nullptr : new std::string(folder);
    const std::lock_guard guard(s_lock);
    delete std::exchange(s_folder, used);
    for (auto& present : s_present) {
        if (StoreNode* const node = present.exchange(nullptr); node != nullptr)
            node->store.release();
    }
}

} // namespace qx::platform::registry

constexpr qx::platform::ForkSteps qx::platform::RegistryForkSteps{
    &registry::beforeFork, &registry::afterForkInParent, &registry::afterForkInChild};
