#include "FolderLock.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>

#include <qx/core/Result.h>
#include <qx/exec/Thread.h>
#include <qx/util/SystemName.h>

#include "Settings.h"

namespace collector {

namespace {

/// The same for all ways to name the folder.
std::string nameOf(const qx::String& folder) {
    std::error_code error;
    const auto path = std::filesystem::canonical(qx::util::toSystemName(folder), error);
    if (error || !std::filesystem::is_directory(path, error))
        throw UsageFailure(folder + u" is no folder");
    return "collector of " + path.string();
}

} // namespace

FolderLock::FolderLock(const qx::String& folder) : m_semaphore(nameOf(folder).c_str(), 1) {
    using namespace std::chrono_literals;
    const auto patience = std::chrono::steady_clock::now() + 2s;
    while (!m_semaphore.tryWait()) {
        if (std::chrono::steady_clock::now() >= patience)
            throw UsageFailure(u"another service writes to " + folder);
        qx::exec::Thread::sleepFor(50ms);
    }
}

FolderLock::~FolderLock() {
    qx::resultOf([this] { m_semaphore.signal(); });
}

} // namespace collector
