#pragma once

#include <deque>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include <qx/util/config/detail/IniIndex.h>

namespace qx::util::detail {

struct IniKey : IniName {
    std::u16string_view value;
    std::string_view valueBytes;
};

struct IniSet : IniName {
    IniIndex<IniKey> keys;
};

/// The content of an INI file: sets of keys, both found without regard to case, and what stands
/// behind the part that could be read. Texts and keys lie in memory that is given back as a whole;
/// isWasteful tells when a copy would be much smaller.
class IniSets {
public:
    IniSets() = default;
    IniSets(const IniSets& other);
    IniSets& operator=(const IniSets&) = delete;

    IniSet* findSet(std::u16string_view name) const { return m_index.find(FoldedText(name)); }
    IniKey* findKey(std::u16string_view set, std::u16string_view key) const {
        const IniSet* const found = findSet(set);
        return found ? found->keys.find(FoldedText(key)) : nullptr;
    }
    /// True when the set is there or has a subset.
    bool hasSetOrSubset(std::u16string_view name) const;

    /// The set of that name, made when it is not there.
    IniSet& makeSet(std::u16string_view name);
    /// Sets the value of a key, which is made when it is not there. The texts are copied.
    IniKey& put(IniSet& set, std::u16string_view key, std::u16string_view value);
    /// The same in the set of that name, which comes in together with its first key.
    void put(std::u16string_view set, std::u16string_view key, std::u16string_view value);
    /// The same for texts that this object keeps already.
    IniKey& putKept(IniSet& set, std::u16string_view key, std::u16string_view value);
    void removeKey(IniSet& set, const IniKey& key);
    /// Removes the set of that name and all its subsets.
    void removeSet(std::u16string_view name);

    /// Room for @p count units as long as this object lives.
    char16_t* allocateUnits(size_t count) {
        m_kept += count * sizeof(char16_t);
        return static_cast<char16_t*>(m_memory.allocate(count * sizeof(char16_t), 2));
    }
    /// Copies a text to where it lives as long as this object.
    std::string_view keep(std::string_view bytes);
    std::u16string_view keep(std::u16string_view text);

    /// To be called before sets and keys are listed.
    void sort();
    /// Sorts, and marks the sets as shared: they never change again, and sorting does nothing.
    void share() {
        sort();
        m_isShared = true;
    }
    bool isShared() const noexcept { return m_isShared; }
    /// Tells that texts were read as UTF-8, so that the default encoding may have no form for them.
    void setUtf8() noexcept { m_isUtf8 = true; }
    bool isUtf8() const noexcept { return m_isUtf8; }
    std::span<IniSet* const> sets() const noexcept { return m_index.entries(); }

    const std::string& unread() const noexcept { return m_unread; }
    void setUnread(std::string_view bytes, int64_t line, const char16_t* why) {
        m_unread = bytes;
        setNotUnderstood(line, why);
    }
    /// The number of the first line that is neither skipped nor a set nor a key; 0 without one.
    int64_t lineNotUnderstood() const noexcept { return m_lineNotUnderstood; }
    const char16_t* whyNotUnderstood() const noexcept { return m_whyNotUnderstood; }
    /// @param why  lives as long as the library
    void setNotUnderstood(int64_t line, const char16_t* why) noexcept {
        m_lineNotUnderstood = line;
        m_whyNotUnderstood = why;
    }

    bool isWasteful() const noexcept { return m_wasted > SmallWaste && m_wasted > m_kept / 2; }

private:
    static constexpr size_t SmallWaste = 64 * 1024;

    void enterName(IniName& name, std::u16string_view kept);
    void waste(const IniKey& key) noexcept;

    std::pmr::monotonic_buffer_resource m_memory;
    std::deque<IniSet> m_sets; ///< the removed ones among them
    IniIndex<IniSet> m_index;
    std::string m_unread;
    int64_t m_lineNotUnderstood = 0;
    const char16_t* m_whyNotUnderstood = u"";
    FoldedText m_folded;
    bool m_isShared = false;
    bool m_isUtf8 = false;
    size_t m_kept = 0;   ///< bytes
    size_t m_wasted = 0; ///< those of them that nobody needs
};

/// True when the set @p name is @p parent or one of its subsets, by exact letters.
bool isWithin(std::u16string_view name, std::u16string_view parent) noexcept;

} // namespace qx::util::detail
