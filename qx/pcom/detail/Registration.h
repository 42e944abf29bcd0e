#pragma once

#include <cstdint>
#include <vector>

#include <qx/core/String.h>

namespace qx::pcom::detail {

/// Changes below QX_HKEY_CLASSES_64 that are made together.
class Registration {
public:
    void setDefaultValue(const String& path, const String& value) {
        m_changes.push_back({path, value, false});
    }
    void deleteKey(const String& path) { m_changes.push_back({path, String(), true}); }
    /// Says that something is there for the deletions to delete.
    void setFound() noexcept { m_isFound = true; }
    bool isFound() const noexcept { return m_isFound; }

    /// Makes the changes, all or none; deletions of what is not there do nothing.
    /// @throws ResultException
    void apply() const;

private:
    struct Change {
        String path;
        String value;
        bool isDeletion;
    };

    std::vector<Change> m_changes;
    bool m_isFound = false;
};

} // namespace qx::pcom::detail
