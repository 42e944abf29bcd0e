#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

#include <qx/platform/registry.h>

/// A registry in a new folder beside the program: the one for temporary files may lie in memory,
/// where nothing is ever flushed.
class BenchRegistry {
public:
    BenchRegistry() {
        const auto program = std::filesystem::read_symlink("/proc/self/exe");
        std::string pattern = (program.parent_path() / "registry-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            std::abort();
        m_folder = pattern;
        use();
    }
    ~BenchRegistry() { std::filesystem::remove_all(m_folder); }
    BenchRegistry(const BenchRegistry&) = delete;
    BenchRegistry& operator=(const BenchRegistry&) = delete;

    void use() const { QXRegistrySetFolder(m_folder.c_str()); }
    std::string file(const char* name) const { return m_folder + '/' + name; }

private:
    std::string m_folder;
};
