#include "Snapshot.h"

#include <optional>

#include <qx/core/Exception.h>
#include <qx/platform/result.h>

#include "Failure.h"

using qx::String;
using qx::util::RegistryKey;

namespace {

/// The path of a key as the platform takes it.
String pathOf(const RegistryKey& key) { return key.getKey(true); }

/// The value, or nothing when it does not exist.
std::optional<Value> tryReadValue(const RegistryKey& key, const String& name) {
    Value value;
    int32_t length = 256;
    for (;;) { // again when it has grown meanwhile
        value.data.resize(static_cast<size_t>(length));
        const int32_t result =
            QXRegistryGetValue(key.getHKEY(), pathOf(key).getData(), name.getData(), &value.type,
                               value.data.data(), &length);
        if (result == qx::result::BufferTooSmall)
            continue;
        if (result == qx::result::NotFound)
            return std::nullopt;
        require(result, nameOf(key));
        value.data.resize(static_cast<size_t>(length));
        return value;
    }
}

void readInto(std::vector<KeyContent>& keys, const RegistryKey& key, bool recursive) {
    KeyContent content{key, {}, {}};
    const auto names = key.getValueIterator();
    while (names->hasNext()) {
        const qx::Reference<String> name = names->next();
        if (auto value = tryReadValue(key, *name))
            content.values.push_back({std::u16string(name->view()), *std::move(value)});
    }
    for (const auto walk = key.getSubkeyIterator(); walk->hasNext();)
        content.subkeys.push_back(*walk->next());
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
        throw platformFailure(nameOf(key) + " " + quoted(name.view()), qx::result::NotFound);
    return *std::move(value);
}

std::vector<KeyContent> readKeys(const RegistryKey& key, bool recursive) {
    std::vector<KeyContent> keys;
    readInto(keys, key, recursive);
    return keys;
}
