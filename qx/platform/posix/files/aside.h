#pragma once

#include <cstdint>
#include <string_view>
#include <sys/stat.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/sync/ForkMark.h>

namespace qx::platform {

/// A new file beside another one, under a name that holds a random number, open for reading and
/// writing. While it stays open its lock tells that its writer lives. The destructor removes it,
/// unless it was kept or has got another name. In a child made by fork the file is its parent's,
/// and stays.
class AsideFile {
public:
    /// @param target  a native path
    /// @param folder  the folder that it leads into, open until this object has gone: a relative
    ///     path then goes on to mean the same when the process gets another current folder
    AsideFile(std::string_view target, mode_t mode, int folder = AT_FDCWD);
    ~AsideFile() {
        if (m_file && !isFromParent())
            ::unlinkat(m_folder, name(), 0);
    }
    AsideFile(const AsideFile&) = delete;
    AsideFile& operator=(const AsideFile&) = delete;

    const PathText& path() const noexcept { return m_path; }
    /// The path from the folder on, or all of it where none was given.
    const char* name() const noexcept { return m_path.c_str() + m_nameAt; }
    int descriptor() const noexcept { return m_file.get(); }
    bool isFromParent() const noexcept { return m_mark.isFromParent(); }
    /// As it was made: owner and group are those of a new file in the folder.
    const struct stat& made() const noexcept { return m_made; }
    /// Lets the file stay, and gives its descriptor up.
    Descriptor keep() noexcept { return std::move(m_file); }

private:
    bool tryCreate(size_t stemLength, mode_t mode);

    const ForkMark m_mark;
    const int m_folder;
    const size_t m_nameAt;
    PathText m_path;
    Descriptor m_file;
    struct stat m_made = {};
};

/// Removes the files that dead writers of the file @p targetName left in @p folder, which has just
/// been opened. Those of living ones stay, also where no other lock keeps them out.
void removeLeftovers(const Descriptor& folder, std::string_view targetName) noexcept;

} // namespace qx::platform
