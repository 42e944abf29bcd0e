#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

/// A folder of a fuzz target: in the one that TMPDIR names, else in memory where there is room for
/// files. Removed at the end of the program, but not when a fault ends it.
class ScratchFolder {
public:
    ScratchFolder() {
        const char* const named = std::getenv("TMPDIR");
        m_path = named != nullptr ? named : ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        m_path += "/qx-fuzz-XXXXXX";
        if (::mkdtemp(m_path.data()) == nullptr)
            std::abort();
    }
    ~ScratchFolder() { std::filesystem::remove_all(m_path); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path(const char* name) const { return m_path + '/' + name; }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};
