#include "qx/util/config/PropertySources.h"

#include <cstring>
#include <string>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/platform/detail/HexDigits.h>
#include <qx/platform/registry.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/IniFileIterator.h>
#include <qx/util/config/RegistryKey.h>
#include <qx/util/config/detail/RegistryText.h>

namespace qx::util {

namespace {

/// A number, whose size the registry has checked.
template <class T>
T numberIn(const std::vector<uint8_t>& data) {
    T number;
    std::memcpy(&number, data.data(), sizeof number);
    return number;
}

String hexadecimal(const std::vector<uint8_t>& bytes) {
    std::u16string text(2 * bytes.size(), u'\0');
    char16_t* end = text.data();
    for (const uint8_t byte : bytes)
        end = qx::platform::writeHex<2>(byte, end);
    return String(std::u16string_view(text));
}

String asText(ENUM_QX_REG_TYPE type, const std::vector<uint8_t>& data) {
    switch (type) {
    case QX_REG_UINT32:
        return String::valueOf(numberIn<uint32_t>(data));
    case QX_REG_UINT64:
        return String::valueOf(numberIn<uint64_t>(data));
    case QX_REG_BYTES:
        return hexadecimal(data);
    case QX_REG_STRING:
        break;
    }
    return detail::registryText(data);
}

} // namespace

Reference<PropertySet> propertiesOf(IniFile& ini, const String& set, const PropertySet* parent) {
    auto properties = makeReference<PropertySet>(parent);
    const IniFileView view = ini.view();
    if (!view.hasSet(set)) {
        view.requireRead();
        IniFileKeyIterator(ini, AnyText(set).terminated()); // tells why not
    }
    for (const std::u16string_view key : view.keys(set))
        if (const auto value = view.find(set, key))
            properties->set(String(key), String(*value));
    return properties;
}

Reference<PropertySet> propertiesOf(const RegistryKey& key, const PropertySet* parent) {
    auto properties = makeReference<PropertySet>(parent);
    std::vector<uint8_t> data;
    for (const String& name : key.valueNames()) {
        try {
            const ENUM_QX_REG_TYPE type = key.getValueData(name, data);
            properties->set(name, asText(type, data));
        } catch (const ResultException& e) {
            if (e.getResult() != result::NotFound) // deleted since the walk began
                throw;
        }
    }
    return properties;
}

} // namespace qx::util
