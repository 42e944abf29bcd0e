#pragma once

#include <stdexcept>

#include <qx/platform/registry.h>

#include "tests/support/TemporaryFolder.h"

namespace qxtest {

/// A registry of its own for the process, in a folder that disappears at the end.
class TemporaryRegistry {
public:
    TemporaryRegistry() { use(); }
    ~TemporaryRegistry() { QXRegistrySetFolder(nullptr); }

    /// Points the process to the folder again, as a process that has just started.
    void use() const {
        if (QXRegistrySetFolder(folder().c_str()) < 0)
            throw std::runtime_error("QXRegistrySetFolder " + folder());
    }

    /// Does not exist before the first change.
    std::string folder() const { return m_folder.path("registry"); }
    /// The file of QX_HKEY_USER.
    std::string userFile() const { return folder() + "/user.qxreg"; }

private:
    TemporaryFolder m_folder;
};

} // namespace qxtest
