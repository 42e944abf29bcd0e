#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <qx/platform/detail/RegistryLog.h>

namespace qx::platform::registry {

/// Hash and equality of names without regard to letter case.
struct FoldedHash {
    using is_transparent = void;
    size_t operator()(std::u16string_view name) const noexcept;
};
struct FoldedEqual {
    using is_transparent = void;
    bool operator()(std::u16string_view left, std::u16string_view right) const noexcept;
};

/// Things by name, which stays as it was first given.
template <class T>
using NameMap = std::unordered_map<std::u16string, T, FoldedHash, FoldedEqual>;

struct Value {
    uint8_t type = 0;
    std::vector<uint8_t> data;
};

struct Key {
    NameMap<Value> values;
    NameMap<std::unique_ptr<Key>> subkeys;
};

/// The tree of one root in memory. Looking a path up takes constant time for each of its names. Not
/// for several threads while one changes it.
class Index {
public:
    /// The key of a path, or null.
    const Key* find(std::u16string_view path) const noexcept;
    const Value* findValue(std::u16string_view path, std::u16string_view name) const noexcept;

    /// Makes the changes of a transaction. When memory runs out only some of them are made.
    void apply(std::span<const Record> records);

    /// One transaction that leads from the empty tree to this one.
    std::vector<uint8_t> toTransaction(const LogPlace& place) const;
    /// About the bytes that toTransaction gives.
    size_t liveBytes() const noexcept { return m_liveBytes; }

private:
    Key* find(std::u16string_view path) noexcept;
    Key& create(std::u16string_view path);
    void set(Key& key, const Record& record);
    void removeValue(Key& key, std::u16string_view name);
    void removeKey(std::u16string_view path);

    Key m_root;
    size_t m_liveBytes = 0;
};

} // namespace qx::platform::registry
