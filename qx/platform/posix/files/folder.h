#pragma once

#include <dirent.h>
#include <memory>

#include <qx/platform/posix/descriptor.h>

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

} // namespace qx::platform
