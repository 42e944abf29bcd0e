#include "Snapshot.h"

#include <optional>

#include <qx/core/Exception.h>
#include <qx/platform/result.h>

#include "tools/common/Registry.h"

using qx::String;
using qx::util::RegistryKey;

namespace {

/// The value, or nothing when it does not exist.
std::optional<Value> tryReadValue(const RegistryKey& key, const String& name) {
    try {
        Value value;
        value.type = key.getValueData(name, value.data);
        return value;
    } catch (const qx::ResultException& e) {
        if (e.getResult() != qx::result::NotFound)
            throw;
        return std::nullopt;
    }
}

void readInto(std::vector<KeyContent>& keys, const RegistryKey& key, bool recursive) {
    KeyContent content{key, {}, {}};
    for (const String& name : key.valueNames())
        if (auto value = tryReadValue(key, name))
            content.values.push_back({std::u16string(name.view()), *std::move(value)});
    content.subkeys = key.subkeys();
    const std::vector<RegistryKey> subkeys = content.subkeys;
    keys.push_back(std::move(content));
    if (!recursive)
        return;
    for (const RegistryKey& subkey : subkeys) {
        const size_t count = keys.size();
        try {
            readInto(keys, subkey, true);
        } catch (const qx::ResultException& e) {
            if (e.getResult() != qx::result::NotFound)
                throw;
            keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(count), keys.end());
        }
    }
}

} // namespace

std::string nameOf(const RegistryKey& key) { return key.getKey().toUtf8(); }

Value readValue(const RegistryKey& key, const String& name) {
    auto value = tryReadValue(key, name);
    if (!value)
        throw registryFailure(nameOf(key) + " " + quoted(name.view()), qx::result::NotFound);
    return *std::move(value);
}

std::vector<KeyContent> readKeys(const RegistryKey& key, bool recursive) {
    std::vector<KeyContent> keys;
    readInto(keys, key, recursive);
    return keys;
}
