#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include <qx/core/AnyText.h>
#include <qx/core/TextView.h>
#include <qx/platform/export.h>

namespace qx::util {

namespace detail {
class IniSets;
}

/// The content of an INI file at one moment, made by IniFile::view. Names are found without regard
/// to letter case and listed in the order of their lower-case forms.
///
/// Copies share the content, which never changes, so any number of threads may use them. The
/// returned texts live as long as any copy.
class QX_API IniFileView {
public:
    /// The value of a key; nothing when there is no such key. Constant time.
    /// @throws std::bad_alloc, but only for names of more than 64 units
    std::optional<std::u16string_view> find(TextView set, TextView key) const;
    /// True when the set itself exists; having subsets is not enough.
    bool hasSet(TextView set) const;
    std::vector<std::u16string_view> sets() const;
    /// The keys of a set; none when it does not exist.
    std::vector<std::u16string_view> keys(TextView set) const;
    /// The same for names in UTF-8.
    template <SomeText Set, SomeText Key>
    requires(Utf8Text<Set> || Utf8Text<Key>) std::optional<std::u16string_view> find(const Set& set,
                                                                                     const Key& key)
    const { return find(AnyText(set).view(), AnyText(key).view()); }
    bool hasSet(const Utf8Text auto& set) const { return hasSet(AnyText(set).view()); }
    std::vector<std::u16string_view> keys(const Utf8Text auto& set) const {
        return keys(AnyText(set).view());
    }

private:
    friend class IniFile;
    explicit IniFileView(std::shared_ptr<const detail::IniSets> sets) : m_sets(std::move(sets)) {}

    std::shared_ptr<const detail::IniSets> m_sets;
};

} // namespace qx::util
