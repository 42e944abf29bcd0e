#include "Output.h"

#include "Snapshot.h"

using qx::util::RegistryKey;

namespace {

/// Elements with commas between them, each on a line of its own.
template <class Elements, class Write>
std::string jsonArray(const Elements& elements, const char* indent, Write write) {
    std::string text;
    for (const auto& element : elements) {
        text += text.empty() ? "\n" : ",\n";
        text += indent + write(element);
    }
    return '[' + text + ']';
}

std::string jsonOf(const KeyContent::NamedValue& named) {
    return "{\"name\": " + quoted(named.name) + ", " + jsonMembers(named.value) + '}';
}

std::string jsonOf(const KeyContent& content) {
    const auto subkeyName = [](const RegistryKey& key) { return quoted(key.getKeyName().view()); };
    return "{\"key\": " + quoted(content.key.getKey().view()) + ",\n   \"values\": " +
           jsonArray(content.values, "    ", [](const auto& named) { return jsonOf(named); }) +
           ",\n   \"subkeys\": " + jsonArray(content.subkeys, "    ", subkeyName) + '}';
}

} // namespace

std::string jsonMembers(const Value& value) {
    return "\"type\": \"" + std::string(typeName(value.type)) + "\", \"value\": " + jsonText(value);
}

std::string keyListing(const Options& options) {
    const std::vector<KeyContent> keys = readKeys(*options.key, options.recursive);
    if (options.json)
        return jsonArray(keys, "  ", [](const KeyContent& content) { return jsonOf(content); }) +
               '\n';
    std::string text;
    for (const KeyContent& content : keys) {
        text += nameOf(content.key) + '\n';
        for (const auto& [name, value] : content.values)
            text += "  " + quoted(name) + '=' + typedText(value) + '\n';
    }
    if (!options.recursive) {
        for (const RegistryKey& subkey : keys.front().subkeys)
            text += nameOf(subkey) + '\n';
    }
    return text;
}
