#include <qx/util/PropertySources.h>

#include <string>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/util/IniFile.h>
#include <qx/util/IniFileIterator.h>
#include <qx/util/RegistryKey.h>

namespace qx::util {

namespace {

std::vector<signed char> bytesOf(const RegistryKey& key, const String& name) {
    std::vector<signed char> bytes(256);
    for (;;)
        try {
            const int32_t length =
                key.getValue(name, bytes.data(), static_cast<int32_t>(bytes.size()));
            bytes.resize(static_cast<size_t>(length));
            return bytes;
        } catch (const ResultException& e) {
            if (e.getResult() != result::BufferTooSmall)
                throw;
            bytes.resize(qx::detail::sizeOf(
                qx::detail::checkedSize(2 * static_cast<int64_t>(bytes.size()))));
        }
}

String hexadecimal(const std::vector<signed char>& bytes) {
    constexpr std::u16string_view Digits = u"0123456789ABCDEF";
    std::u16string text;
    for (const signed char byte : bytes) {
        text += Digits[static_cast<unsigned char>(byte) >> 4];
        text += Digits[byte & 0x0F];
    }
    return String(std::u16string_view(text));
}

String valueText(const RegistryKey& key, const String& name) {
    switch (key.getValueType(name)) {
    case QX_REG_UINT32:
        return String::valueOf(key.getValueUINT32(name));
    case QX_REG_UINT64:
        return String::valueOf(key.getValueUINT64(name));
    case QX_REG_BYTES:
        return hexadecimal(bytesOf(key, name));
    case QX_REG_STRING:
        break;
    }
    return key.getValueString(name);
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
        try {
            properties->set(*name, valueText(key, *name));
        } catch (const ResultException& e) {
            if (e.getResult() != result::NotFound) // deleted since the walk began
                throw;
        }
    }
    return properties;
}

} // namespace qx::util
