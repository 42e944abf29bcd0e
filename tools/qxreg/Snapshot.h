#pragma once

#include <string>
#include <vector>

#include <qx/util/config/RegistryKey.h>

#include "ValueText.h"

/// A key with its values and direct subkeys, in the order of the registry.
struct KeyContent {
    struct NamedValue {
        std::u16string name;
        Value value;
    };

    qx::util::RegistryKey key;
    std::vector<NamedValue> values;
    std::vector<qx::util::RegistryKey> subkeys;
};

/// The key as text, as it is given on the command line.
std::string nameOf(const qx::util::RegistryKey& key);

/// @throws Failure when it does not exist
Value readValue(const qx::util::RegistryKey& key, const qx::String& name);

/// The key and, with @p recursive, all below it, parents first. What others delete meanwhile is
/// left out.
/// @throws Failure when the key does not exist
std::vector<KeyContent> readKeys(const qx::util::RegistryKey& key, bool recursive);
