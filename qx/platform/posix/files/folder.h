#pragma once

#include <dirent.h>
#include <memory>
#include <string_view>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>

namespace qx::platform {

/// Calls @p visit with the descriptor of an open folder and the name of each of its entries, "."
/// and ".." among them. A folder that cannot be read has none.
template <class Visit>
void forEachEntry(Descriptor folder, Visit&& visit) {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(folder.get()), &::closedir);
    if (!entries)
        return;
    const auto descriptor = static_cast<int>(folder.release());
    while (const dirent* const entry = ::readdir(entries.get()))
        visit(descriptor, entry->d_name);
}

/// Makes durable which files a folder has, and their names. The empty path is the current folder.
inline void flushFolder(std::string_view path) {
    const Descriptor folder =
        Descriptor::open(path.empty() ? "." : PathText(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (!folder)
        throw Failure{lastResult()};
    flush(folder.get());
}

} // namespace qx::platform
