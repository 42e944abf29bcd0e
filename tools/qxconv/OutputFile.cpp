#include "OutputFile.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include <qx/platform/result.h>

#include "tools/common/Failure.h"

namespace fs = std::filesystem;

namespace {

/// What a signal handler may look at: the file to remove, whether its name is just changing, and
/// the signal that came meanwhile.
volatile std::sig_atomic_t s_isChanging = 0;
volatile std::sig_atomic_t s_pendingSignal = 0;
std::atomic<const char*> s_fileToRemove = nullptr;

extern "C" void removeAndDie(int signal) {
    if (s_isChanging) {
        s_pendingSignal = signal;
        return;
    }
    if (const char* const file = s_fileToRemove)
        std::remove(file);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

/// Holds signals back while the file and the record of its name do not agree.
class SignalGuard {
public:
    SignalGuard() {
        s_isChanging = 1;
        for (const int signal : {SIGINT, SIGTERM})
            if (std::signal(signal, &removeAndDie) == SIG_IGN)
                std::signal(signal, SIG_IGN); // as with nohup
    }
    ~SignalGuard() {
        s_isChanging = 0;
        if (s_pendingSignal)
            removeAndDie(s_pendingSignal);
    }
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;
};

/// The file that a chain of symbolic links leads to, which need not exist.
fs::path followLinks(fs::path path) {
    std::error_code error;
    for (int links = 0; links < 40 && fs::is_symlink(fs::symlink_status(path, error)); ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    return path;
}

constexpr uint32_t ModeForAll = 0666;   // less the umask
constexpr uint32_t ModeForOwner = 0600; // until it has the permissions of the old file

} // namespace

OutputFile::OutputFile(const std::string& name) : m_name(name) {
    m_target = name;
    std::ranges::replace(m_target, '\\', '/'); // both separate, as everywhere in the library
    m_target = followLinks(m_target).string();
    // A file that may not be written is not replaced either.
    const int32_t result = QXFileOpen(m_target.c_str(), QX_FILE_WRITE, 0, m_handle.put());
    if (result < 0 && result != qx::result::NotFound)
        throw fileFailure(m_name, result);
    const fs::file_status existing = fs::status(m_target);
    if (result >= 0 && !fs::is_regular_file(existing))
        return;
    m_handle.reset();
    openAside(result < 0 ? ModeForAll : ModeForOwner);
    if (result >= 0)
        fs::permissions(m_aside, existing.permissions());
}

OutputFile::~OutputFile() {
    m_handle.reset();
    if (m_aside.empty())
        return;
    const SignalGuard guard;
    QXFileRemove(m_aside.c_str());
    s_fileToRemove = nullptr;
}

void OutputFile::commit() {
    m_handle.reset();
    if (m_aside.empty())
        return;
    const SignalGuard guard;
    if (const int32_t result = QXFileRename(m_aside.c_str(), m_target.c_str()); result < 0)
        throw fileFailure(m_name, result);
    s_fileToRemove = nullptr;
    m_aside.clear();
}

void OutputFile::openAside(uint32_t mode) {
    std::string aside(65536, '\0');
    const SignalGuard guard;
    const int32_t result = QXFileCreateBeside(m_target.c_str(), mode, aside.data(),
                                              static_cast<int32_t>(aside.size()), m_handle.put());
    if (result < 0)
        throw fileFailure(m_name, result);
    m_aside = aside.c_str();
    s_fileToRemove = m_aside.c_str();
}
