#pragma once

#include <cstdint>
#include <string>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/files.h>

/// A file that appears, or replaces the old one, only when it is complete: it is written aside in
/// the same folder and renamed by commit. Until then the destructor, and SIGINT and SIGTERM, remove
/// what was written. A symbolic link stays one, and an existing file keeps its permissions.
///
/// What is no regular file (a pipe, a terminal, a device) is written directly.
///
/// One at a time.
class OutputFile {
public:
    /// @throws Failure that tells @p name
    explicit OutputFile(const std::string& name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// The open file.
    uint64_t handle() const { return m_handle.get(); }

    /// Closes the file and gives it its name.
    void commit();

private:
    void openAside(uint32_t mode);

    std::string m_name;   ///< for messages
    std::string m_target; ///< the name with links followed
    std::string m_aside;  ///< empty when the target is written directly
    qx::PlatformHandle<&QXFileClose> m_handle;
};
