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

} // namespace

OutputFile::OutputFile(const std::string& name) : m_name(name) {
    // A file that may not be written is not replaced either.
    const int32_t result = QXFileOpen(m_name.c_str(), QX_FILE_WRITE, 0, m_handle.put());
    if (result < 0 && result != qx::result::NotFound)
        throw fileFailure(m_name, result);
    std::string path = name;
    std::ranges::replace(path, '\\', '/'); // both separate, as everywhere in the library
    if (result >= 0 && !fs::is_regular_file(fs::status(path)))
        return;
    m_handle.reset();
    beginReplacement();
}

OutputFile::~OutputFile() {
    if (!m_replacement)
        return;
    const SignalGuard guard;
    m_replacement.reset();
    s_fileToRemove = nullptr;
}

void OutputFile::commit() {
    m_handle.reset();
    if (!m_replacement)
        return;
    const SignalGuard guard;
    const int32_t result = QXFileReplaceCommit(m_replacement.release(), nullptr);
    s_fileToRemove = nullptr;
    requireFile(result, m_name);
}

void OutputFile::beginReplacement() {
    constexpr uint32_t ModeForAll = 0666; // less the umask
    const SignalGuard guard;
    QXFileReplacement* replacement = nullptr;
    const int32_t result = QXFileReplaceBegin(m_name.c_str(), ModeForAll, &replacement, &m_aside);
    requireFile(result, m_name);
    m_replacement.reset(replacement);
    s_fileToRemove = QXFileReplaceAside(replacement);
}
