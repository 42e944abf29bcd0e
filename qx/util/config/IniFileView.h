#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include <qx/core/TextView.h>
#include <qx/platform/export.h>

namespace qx::util {

namespace detail {
class IniSets;
}

/// What an INI file held at one moment. Names are found without regard to letter case and listed in
/// that order.
///
/// Copies share the content, which never changes, so they may be used from any thread. The texts
/// handed out live as long as any copy. Made by IniFile::view.
class QX_API IniFileView {
public:
    /// The value of a key; nothing when there is none. Constant time.
    /// @throws std::bad_alloc for long names only
    std::optional<std::u16string_view> find(TextView set, TextView key) const;
    /// True when the set is there; subsets alone do not make it.
    bool hasSet(TextView set) const;
    std::vector<std::u16string_view> sets() const;
    /// The keys of a set; none when it is not there.
    std::vector<std::u16string_view> keys(TextView set) const;

private:
    friend class IniFile;
    explicit IniFileView(std::shared_ptr<const detail::IniSets> sets) : m_sets(std::move(sets)) {}

    std::shared_ptr<const detail::IniSets> m_sets;
};

} // namespace qx::util
