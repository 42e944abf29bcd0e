#include "qx/platform/posix/registry/RegistryIndex.h"

#include <algorithm>

#include <qx/platform/detail/CaseMap.h>

namespace qx::platform::registry {

namespace {

size_t sizeOf(std::u16string_view name, const Value& value) noexcept {
    return recordSize(name.size(), value.data.size());
}

/// Calls @p visit with every key below @p key, which has the path @p path, and its path: parents
/// first. The depth is limited, and with it the recursion.
template <class Visit>
void visitSubtree(const Key& key, std::u16string& path, Visit visit) {
    for (const auto& [name, subkey] : key.subkeys) {
        const size_t length = path.size();
        if (length > 0)
            path += u'\\';
        path += name;
        visit(*subkey, path);
        visitSubtree(*subkey, path, visit);
        path.resize(length);
    }
}

/// Path without empty names.
std::u16string plainPath(std::u16string_view path) {
    std::u16string plain;
    forEachName(path, [&](std::u16string_view name) {
        if (!plain.empty())
            plain += u'\\';
        plain += name;
        return true;
    });
    return plain;
}

} // namespace

size_t FoldedHash::operator()(std::u16string_view name) const noexcept {
    uint64_t hash = 0xCBF29CE484222325u;
    for (const char16_t unit : name)
        hash = (hash ^ toLower(unit)) * 0x9E3779B97F4A7C15u;
    return static_cast<size_t>(hash ^ hash >> 32);
}

bool FoldedEqual::operator()(std::u16string_view left, std::u16string_view right) const noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char16_t l, char16_t r) { return l == r || toLower(l) == toLower(r); });
}

const Key* Index::find(std::u16string_view path) const noexcept {
    return const_cast<Index*>(this)->find(path);
}

Key* Index::find(std::u16string_view path) noexcept {
    Key* key = &m_root;
    const bool found = forEachName(path, [&](std::u16string_view name) {
        const auto subkey = key->subkeys.find(name);
        if (subkey == key->subkeys.end())
            return false;
        key = subkey->second.get();
        return true;
    });
    return found ? key : nullptr;
}

const Value* Index::findValue(std::u16string_view path, std::u16string_view name) const noexcept {
    const Key* const key = find(path);
    if (key == nullptr)
        return nullptr;
    const auto value = key->values.find(name);
    return value != key->values.end() ? &value->second : nullptr;
}

Key& Index::create(std::u16string_view path) {
    Key* key = &m_root;
    size_t pathUnits = 0;
    forEachName(path, [&](std::u16string_view name) {
        pathUnits += name.size() + 1;
        auto subkey = key->subkeys.find(name);
        if (subkey == key->subkeys.end()) {
            auto created = std::make_unique<Key>();
            subkey = key->subkeys.emplace(name, std::move(created)).first;
            m_liveBytes += recordSize(pathUnits - 1, 0);
        }
        key = subkey->second.get();
        return true;
    });
    return *key;
}

void Index::set(Key& key, const Record& record) {
    auto value = key.values.find(record.text);
    if (value == key.values.end())
        value = key.values.emplace(record.text, Value()).first;
    else
        m_liveBytes -= sizeOf(value->first, value->second);
    value->second.type = record.type;
    value->second.data.assign(record.data.begin(), record.data.end());
    m_liveBytes += sizeOf(value->first, value->second);
}

void Index::removeValue(Key& key, std::u16string_view name) {
    const auto value = key.values.find(name);
    if (value == key.values.end())
        return;
    m_liveBytes -= sizeOf(value->first, value->second);
    key.values.erase(value);
}

void Index::removeKey(std::u16string_view path) {
    std::u16string name = plainPath(path);
    const size_t parentLength = name.rfind(u'\\');
    const bool hasParent = parentLength != std::u16string::npos;
    const std::u16string_view parentPath =
        std::u16string_view(name).substr(0, hasParent ? parentLength : 0);
    Key* const parent = find(parentPath);
    if (parent == nullptr)
        return;
    const auto key =
        parent->subkeys.find(std::u16string_view(name).substr(hasParent ? parentLength + 1 : 0));
    if (key == parent->subkeys.end())
        return;
    const auto forget = [this](const Key& gone, std::u16string_view gonePath) {
        m_liveBytes -= recordSize(gonePath.size(), 0);
        for (const auto& [valueName, value] : gone.values)
            m_liveBytes -= sizeOf(valueName, value);
    };
    forget(*key->second, name);
    visitSubtree(*key->second, name, forget);
    parent->subkeys.erase(key);
}

void Index::apply(std::span<const Record> records) {
    Key* key = nullptr;
    for (const Record& record : records) {
        switch (record.kind) {
        case RecordKind::Key:
            key = &create(record.text);
            break;
        case RecordKind::KnownKey:
            key = find(record.text);
            break;
        case RecordKind::Value:
            set(*key, record);
            break;
        case RecordKind::NoValue:
            if (key != nullptr)
                removeValue(*key, record.text);
            break;
        case RecordKind::NoKey:
            removeKey(record.text);
            key = nullptr;
            break;
        case RecordKind::Commit:
            break;
        }
    }
}

std::vector<uint8_t> Index::toTransaction(const LogPlace& place) const {
    TransactionWriter writer(place);
    const auto add = [&](const Key& key, std::u16string_view path) {
        writer.add({RecordKind::Key, 0, path, {}});
        for (const auto& [name, value] : key.values)
            writer.add({RecordKind::Value, value.type, name, value.data});
    };
    std::u16string path;
    add(m_root, path);
    visitSubtree(m_root, path, add);
    return writer.commit();
}

} // namespace qx::platform::registry
