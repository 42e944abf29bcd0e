#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace qxtest {

/// A new folder, removed with everything in it at the end.
class TemporaryFolder {
public:
    /// Where what is made durable takes no time.
    static constexpr char InMemory[] = "/dev/shm";

    /// @param parent  where the folder is made; where the system says, if there is no such folder
    explicit TemporaryFolder(const std::string& parent = "");
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// The folder, absolute and without links.
    const std::string& path() const { return m_path; }
    /// The path of a name in the folder.
    std::string path(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// A new folder that is the current one while the object lives.
class CurrentFolder : public TemporaryFolder {
public:
    CurrentFolder() { std::filesystem::current_path(path()); }
    ~CurrentFolder() { std::filesystem::current_path(m_before); }

private:
    const std::filesystem::path m_before = std::filesystem::current_path();
};

/// All bytes of a file; empty when it cannot be read.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

/// Lets no file of the process become larger in @p body, as on a full disk.
void withFileSizeLimit(size_t bytes, const std::function<void()>& body);

} // namespace qxtest
