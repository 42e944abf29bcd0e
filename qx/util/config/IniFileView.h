#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <qx/core/AnyText.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/platform/export.h>
#include <qx/util/config/IniSetting.h>

namespace qx::util {

namespace detail {
class IniSets;
}

/// How far an INI file was read and understood.
struct IniFileReport {
    /// The first line, counted from 1, that is neither a set nor a key nor skipped; 0 without one.
    /// Reading ends in front of it, or passes over it when the lines are kept.
    int64_t line = 0;
    String reason; ///< what is wrong with that line, or why the file cannot be read

    bool isComplete() const noexcept { return line == 0 && reason.isEmpty(); }
};

/// The content of an INI file at one moment, made by IniFile::view. Names are found without regard
/// to letter case and listed in the order of their lower-case forms.
///
/// Copies share the content, which never changes, so any number of threads may use them. The
/// returned texts live as long as any copy, so that only a view with a name gives them;
/// IniFile::find gives a String.
class QX_API IniFileView {
public:
    /// The value of a key; nothing when there is no such key. Constant time.
    /// @throws std::bad_alloc, but only for names of more than 64 units
    std::optional<std::u16string_view> find(TextView set, TextView key) const&;
    /// The value of a key as a number, truth value, time or text (see IniSetting); @p fallback when
    /// there is no such key:
    ///
    ///     const int port = view.get(u"Server", u"port", 8080);
    ///     const auto limit = view.get<std::chrono::seconds>(u"Server", u"limit", 30s);
    ///
    /// @throws IniFileException VALUE_NOT_UNDERSTOOD for a value that is there and no such thing,
    ///     or out of the range of @p T
    template <IniSetting T>
    T get(const AnyText& set, const AnyText& key, const T& fallback) const {
        const auto value = find(set.view(), key.view());
        return value ? detail::settingFrom<T>(*m_path, set, key, *value) : fallback;
    }
    /// The same for a text in any form as the fallback.
    String get(const AnyText& set, const AnyText& key, const AnyText& fallback) const {
        const auto value = find(set.view(), key.view());
        return value ? String(*value) : fallback.toString();
    }
    /// True when the set itself exists; having subsets is not enough.
    bool hasSet(TextView set) const;
    std::vector<std::u16string_view> sets() const&;
    /// The keys of a set; none when it does not exist.
    std::vector<std::u16string_view> keys(TextView set) const&;
    /// Whether the whole file was read and understood. A file that was not there counts as an empty
    /// one.
    IniFileReport report() const;
    /// @throws ResultException that names the file when it is there and could not be read
    void requireRead() const;
    /// The same for names in UTF-8.
    template <SomeText Set, SomeText Key>
    requires(Utf8Text<Set> || Utf8Text<Key>) std::optional<std::u16string_view> find(const Set& set,
                                                                                     const Key& key)
    const& { return find(AnyText(set).view(), AnyText(key).view()); }
    bool hasSet(const Utf8Text auto& set) const { return hasSet(AnyText(set).view()); }
    std::vector<std::u16string_view> keys(const Utf8Text auto& set) const& {
        return keys(AnyText(set).view());
    }
    /// Texts that would end with the view.
    void find(const SomeText auto& set, const SomeText auto& key) && = delete;
    void sets() && = delete;
    void keys(const SomeText auto& set) && = delete;

private:
    friend class IniFile;
    IniFileView(std::shared_ptr<const detail::IniSets> sets,
                std::shared_ptr<const std::string> path, int32_t readResult)
        : m_sets(std::move(sets)), m_path(std::move(path)), m_readResult(readResult) {}

    std::shared_ptr<const detail::IniSets> m_sets;
    std::shared_ptr<const std::string> m_path;
    int32_t m_readResult;
};

} // namespace qx::util
