#include "qx/util/config/detail/IniSets.h"

#include <algorithm>
#include <new>
#include <utility>

namespace qx::util::detail {

bool isWithin(std::u16string_view name, std::u16string_view parent) noexcept {
    return name.starts_with(parent) &&
           (name.size() == parent.size() || name[parent.size()] == u'\\');
}

IniSets::IniSets(const IniSets& other)
    : m_unread(other.m_unread), m_lineNotUnderstood(other.m_lineNotUnderstood),
      m_whyNotUnderstood(other.m_whyNotUnderstood), m_isUtf8(other.m_isUtf8) {
    for (const IniSet* const set : other.sets()) {
        IniSet& copy = makeSet(set->text);
        copy.bytes = keep(set->bytes);
        for (const IniKey* const key : set->keys.entries()) {
            IniKey& keyCopy = put(copy, key->text, key->value);
            keyCopy.bytes = keep(key->bytes);
            keyCopy.valueBytes = keep(key->valueBytes);
        }
    }
}

bool IniSets::hasSetOrSubset(std::u16string_view name) const {
    return findSet(name) || std::ranges::any_of(sets(), [name](const IniSet* set) {
               return isWithin(set->text, name);
           });
}

std::string_view IniSets::keep(std::string_view bytes) {
    if (bytes.empty())
        return {};
    auto* const kept = static_cast<char*>(m_memory.allocate(bytes.size(), 1));
    bytes.copy(kept, bytes.size());
    return {kept, bytes.size()};
}

std::u16string_view IniSets::keep(std::u16string_view text) {
    if (text.empty())
        return {};
    char16_t* const kept = allocateUnits(text.size());
    text.copy(kept, text.size());
    return {kept, text.size()};
}

/// Names @p name as m_folded says.
void IniSets::enterName(IniName& name, std::u16string_view kept) {
    name.text = kept;
    // Most names are in lower case already.
    name.folded = hasSameUnits(m_folded.text(), kept) ? kept : keep(m_folded.text());
    name.hash = m_folded.hash();
}

IniSet& IniSets::makeSet(std::u16string_view name) {
    m_folded.assign(name);
    if (IniSet* const set = m_index.find(m_folded))
        return *set;
    const auto kept = keep(name);
    IniSet& set = m_sets.emplace_back();
    enterName(set, kept);
    m_index.add(&set);
    return set;
}

IniKey& IniSets::put(IniSet& set, std::u16string_view key, std::u16string_view value) {
    m_folded.assign(key);
    const IniKey* const found = set.keys.find(m_folded);
    if (found)
        m_wasted += found->value.size() * sizeof(char16_t);
    return putKept(set, found ? found->text : keep(key), keep(value));
}

void IniSets::put(std::u16string_view set, std::u16string_view key, std::u16string_view value) {
    IniSet made;
    IniSet* const found = findSet(set);
    put(found ? *found : made, key, value);
    if (!found)
        makeSet(set).keys = std::move(made.keys);
}

IniKey& IniSets::putKept(IniSet& set, std::u16string_view key, std::u16string_view value) {
    m_folded.assign(key);
    if (IniKey* const found = set.keys.find(m_folded)) {
        found->value = value;
        found->valueBytes = {};
        return *found;
    }
    IniKey* const entry = ::new (m_memory.allocate(sizeof(IniKey), alignof(IniKey))) IniKey{};
    m_kept += sizeof(IniKey);
    entry->value = value;
    enterName(*entry, key);
    set.keys.add(entry);
    return *entry;
}

void IniSets::waste(const IniKey& key) noexcept {
    m_wasted += sizeof key + (key.text.size() + key.value.size()) * sizeof(char16_t);
}

void IniSets::removeKey(IniSet& set, const IniKey& key) {
    set.keys.removeIf([&key](const IniKey* entry) { return entry == &key; });
    waste(key);
}

void IniSets::removeSet(std::u16string_view name) {
    const IniSet* const own = findSet(name);
    m_index.removeIf([&](IniSet* set) {
        if (set != own && !isWithin(set->text, name))
            return false;
        for (const IniKey* const key : set->keys.entries())
            waste(*key);
        set->keys = {};
        return true;
    });
}

void IniSets::sort() {
    m_index.sort();
    for (IniSet* const set : m_index.entries())
        set->keys.sort();
}

} // namespace qx::util::detail
