#include <qx/util/PropertySources.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/platform/registry.h>
#include <qx/util/IniFile.h>
#include <qx/util/IniFileIterator.h>
#include <qx/util/RegistryKey.h>

namespace qx::util {

namespace {

struct Value {
    ENUM_QX_REG_TYPE type = QX_REG_STRING;
    std::vector<uint8_t> data;
};

/// Type and data in one look, as others may exchange the value between two; nothing when it does
/// not exist.
std::optional<Value> readValue(const RegistryKey& key, const String& name) {
    const String path = key.getKey(true);
    Value value;
    int32_t length = 256;
    for (;;) { // again when it has grown meanwhile
        value.data.resize(static_cast<size_t>(length));
        const int32_t result = QXRegistryGetValue(key.getHKEY(), path.getData(), name.getData(),
                                                  &value.type, value.data.data(), &length);
        if (result == result::BufferTooSmall)
            continue;
        if (result == result::NotFound)
            return std::nullopt;
        throwIfFailed(result);
        value.data.resize(static_cast<size_t>(length));
        return value;
    }
}

/// A number, whose size the registry has checked.
template <class T>
T numberIn(const Value& value) {
    T number;
    std::memcpy(&number, value.data.data(), sizeof number);
    return number;
}

String textOf(const Value& value) {
    std::u16string text(value.data.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), value.data.data(), text.size() * sizeof(char16_t));
    if (text.ends_with(u'\0'))
        text.pop_back();
    return String(std::u16string_view(text));
}

String hexadecimal(const std::vector<uint8_t>& bytes) {
    constexpr std::u16string_view Digits = u"0123456789ABCDEF";
    std::u16string text;
    for (const uint8_t byte : bytes) {
        text += Digits[byte >> 4];
        text += Digits[byte & 0x0F];
    }
    return String(std::u16string_view(text));
}

String asText(const Value& value) {
    switch (value.type) {
    case QX_REG_UINT32:
        return String::valueOf(numberIn<uint32_t>(value));
    case QX_REG_UINT64:
        return String::valueOf(numberIn<uint64_t>(value));
    case QX_REG_BYTES:
        return hexadecimal(value.data);
    case QX_REG_STRING:
        break;
    }
    return textOf(value);
}

} // namespace

Reference<PropertySet> propertiesOf(IniFile& ini, const String& set, const PropertySet* parent) {
    auto properties = makeReference<PropertySet>(parent);
    const IniFileView view = ini.view();
    if (!view.hasSet(set))
        IniFileKeyIterator(ini, std::u16string(set.view()).c_str()); // tells why not
    for (const std::u16string_view key : view.keys(set))
        if (const auto value = view.find(set, key))
            properties->set(String(key), String(*value));
    return properties;
}

Reference<PropertySet> propertiesOf(const RegistryKey& key, const PropertySet* parent) {
    auto properties = makeReference<PropertySet>(parent);
    const auto names = key.getValueIterator();
    while (names->hasNext()) {
        const Reference<String> name = names->next();
        if (const auto value = readValue(key, *name)) // not deleted since the walk began
            properties->set(*name, asText(*value));
    }
    return properties;
}

} // namespace qx::util
