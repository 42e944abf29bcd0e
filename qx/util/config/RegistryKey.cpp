#include "qx/util/config/RegistryKey.h"

#include <algorithm>
#include <iterator>
#include <string>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>

#include <qx/util/config/detail/RegistryText.h>
#include <qx/util/config/detail/RegistryWalk.h>

template class qx::collections::ConstIterator<qx::util::RegistryKey>;

namespace qx::util {

namespace {

struct RootName {
    std::u16string_view name;
    ENUM_QX_HKEY root;
};

// The first row of each root is the name that is printed, in the order of the roots.
constexpr RootName RootNames[] = {
    {u"QX_HKEY_CLASSES_32", QX_HKEY_CLASSES_32},
    {u"QX_HKEY_CONFIG_32", QX_HKEY_CONFIG_32},
    {u"QX_HKEY_USER", QX_HKEY_USER},
    {u"QX_HKEY_CLASSES_64", QX_HKEY_CLASSES_64},
    {u"QX_HKEY_CONFIG_64", QX_HKEY_CONFIG_64},
    {u"QX_HKEY_CLASSES_CROSS", QX_HKEY_CLASSES_CROSS},
    {u"QX_HKEY_CONFIG_CROSS", QX_HKEY_CONFIG_CROSS},
    {u"QX_HKEY_CLASSES", QX_HKEY_CLASSES},
    {u"QX_HKEY_CONFIG", QX_HKEY_CONFIG},
};
constexpr int32_t RootCount = 5;

/// Text as the platform takes it, with a 0 unit at its end and none before.
std::u16string terminated(const String& text) {
    std::u16string copy(text.view());
    if (copy.find(u'\0') != std::u16string::npos)
        throwResultOf(result::InvalidArgument, u"registry name with a 0 unit");
    return copy;
}

String lastNameOf(const String& path) { return path.substring(path.lastIndexOf(u'\\') + 1); }

/// The platform's result for the type of a value.
int32_t readType(ENUM_QX_HKEY root, const String& path, const String& name,
                 ENUM_QX_REG_TYPE& type) {
    int32_t length = 0;
    return QXRegistryGetValue(root, terminated(path).c_str(), terminated(name).c_str(), &type,
                              nullptr, &length);
}

/// A value as failures name it.
String shown(const RegistryKey& key, const String& name) {
    return key.getKey(false) + u", " +
           (name.isEmpty() ? u"default value"_qs : u"value \"" + name + u'"');
}

const char16_t* typeName(ENUM_QX_REG_TYPE type) {
    constexpr const char16_t* Names[] = {u"text", u"32-bit number", u"64-bit number", u"bytes"};
    const auto number = static_cast<uint32_t>(type);
    return number < std::size(Names) ? Names[number] : u"of an unknown type";
}

[[noreturn]] void throwMismatch(const RegistryKey& key, const String& name, ENUM_QX_REG_TYPE type,
                                ENUM_QX_REG_TYPE expected) {
    throw withDetail(Exception(u"Registry type mismatch"_qs),
                     shown(key, name) + u" is " + typeName(type) + u", not " + typeName(expected));
}

} // namespace

// The path is a copy: a text may lie in memory that somebody else changes.
RegistryKey::RegistryKey(const String& key) : m_path(key.view()) {
    normalize();
    m_root = extractQXHkey(m_path);
    if (m_path.isEmpty())
        m_keyName.clear(); // it was the root's name
}

RegistryKey::RegistryKey(ENUM_QX_HKEY root, const String& path)
    : m_root(root), m_path(path.view()) {
    if (root < 0 || root >= RootCount)
        throw withDetail(Exception(u"Unknown QX_HKEY"_qs), String::valueOf(root));
    normalize();
}

void RegistryKey::normalize() {
    m_path.translate(u'/', u'\\');
    m_keyName = lastNameOf(m_path);
}

ENUM_QX_HKEY RegistryKey::extractQXHkey(String& key) {
    const int32_t delimiter = key.indexOf(u'\\');
    const String name = key.substring(0, delimiter);
    const auto row = std::ranges::find_if(
        RootNames, [&](const RootName& each) { return name.equals(each.name, true); });
    if (row == std::end(RootNames))
        throw withDetail(Exception(u"Unknown QX_HKEY"_qs), name);
    key = delimiter < 0 ? String() : key.substring(delimiter + 1);
    return row->root;
}

String RegistryKey::getKey(bool relative) const {
    String key;
    if (!relative)
        key.append(RootNames[m_root].name);
    if (!m_path.isEmpty())
        key.append(u'\\').append(m_path);
    return key;
}

RegistryKey RegistryKey::getParent() const {
    const int32_t delimiter = m_path.lastIndexOf(u'\\');
    if (delimiter < 0)
        throw withDetail(Exception(u"No parent key"_qs), getKey(false));
    RegistryKey parent(*this); // its names stay as they are, also those with "/"
    parent.m_path = m_path.substring(0, delimiter);
    parent.m_keyName = lastNameOf(parent.m_path);
    return parent;
}

RegistryKey RegistryKey::getSubkey(const String& name) const {
    String names(name.view());
    names.translate(u'/', u'\\');
    RegistryKey subkey = childNamed(names);
    subkey.m_keyName = lastNameOf(names);
    return subkey;
}

RegistryKey RegistryKey::childNamed(const String& name) const {
    RegistryKey child(*this);
    if (!m_path.isEmpty()) // the path of a root has no names, so there is nothing to set apart
        child.m_path.append(u'\\');
    child.m_path.append(name);
    child.m_keyName = name;
    return child;
}

Reference<collections::ConstIterator<RegistryKey>> RegistryKey::getSubkeyIterator() const {
    RegistryWalk walk(&QXRegistryOpenKeyEnum, &QXRegistryEnumNextKey, m_root,
                      terminated(m_path).c_str(), getKey(false));
    return makeReference<collections::ConstIterator<RegistryKey>>(
        makeReference<RegistrySubkeyIterator>(std::move(walk), *this).get());
}

Reference<collections::ConstIterator<String>> RegistryKey::getValueIterator() const {
    RegistryWalk walk(&QXRegistryOpenValueEnum, &QXRegistryEnumNextValue, m_root,
                      terminated(m_path).c_str(), getKey(false));
    return makeReference<collections::ConstIterator<String>>(
        makeReference<RegistryValueIterator>(std::move(walk)).get());
}

std::vector<RegistryKey> RegistryKey::subkeys() const {
    std::vector<RegistryKey> keys;
    for (const auto& key : getSubkeyIterator())
        keys.push_back(*key);
    return keys;
}

std::vector<String> RegistryKey::valueNames() const {
    std::vector<String> names;
    for (const auto& name : getValueIterator())
        names.push_back(*name);
    return names;
}

void RegistryKey::remove() {
    throwIfFailedOf(QXRegistryDeleteKey(m_root, terminated(m_path).c_str()),
                    [this] { return getKey(false); });
}

bool RegistryKey::valueExists(const String& name) const {
    return resultOf([&] {
               ENUM_QX_REG_TYPE type;
               return readType(m_root, m_path, name, type);
           }) >= 0;
}

ENUM_QX_REG_TYPE RegistryKey::getValueType(const String& name) const {
    ENUM_QX_REG_TYPE type;
    throwIfFailedOf(readType(m_root, m_path, name, type), [&] { return shown(*this, name); });
    return type;
}

/// The platform's result; a value of another type throws, also when it did not fit.
int32_t RegistryKey::tryGetValue(const String& name, ENUM_QX_REG_TYPE expected, void* buffer,
                                 int32_t& length) const {
    ENUM_QX_REG_TYPE type;
    char none;
    const int32_t result =
        QXRegistryGetValue(m_root, terminated(m_path).c_str(), terminated(name).c_str(), &type,
                           buffer != nullptr ? buffer : &none, &length);
    if ((result >= 0 || result == result::BufferTooSmall) && type != expected)
        throwMismatch(*this, name, type, expected);
    return result;
}

String RegistryKey::getValueString(const String& name) const {
    std::vector<uint8_t> data;
    if (const ENUM_QX_REG_TYPE type = getValueData(name, data); type != QX_REG_STRING)
        throwMismatch(*this, name, type, QX_REG_STRING);
    return detail::registryText(data);
}

uint32_t RegistryKey::getValueUINT32(const String& name) const {
    uint32_t value = 0;
    int32_t length = sizeof value;
    throwIfFailedOf(tryGetValue(name, QX_REG_UINT32, &value, length),
                    [&] { return shown(*this, name); });
    return value;
}

uint64_t RegistryKey::getValueUINT64(const String& name) const {
    uint64_t value = 0;
    int32_t length = sizeof value;
    throwIfFailedOf(tryGetValue(name, QX_REG_UINT64, &value, length),
                    [&] { return shown(*this, name); });
    return value;
}

int32_t RegistryKey::getValue(const String& name, signed char* bytes, int32_t length) const {
    if (bytes == nullptr && length > 0)
        throwResultOf(result::NullPointer, shown(*this, name));
    throwIfFailedOf(tryGetValue(name, QX_REG_BYTES, bytes, length),
                    [&] { return shown(*this, name); });
    return length;
}

ENUM_QX_REG_TYPE RegistryKey::getValueData(const String& name, std::vector<uint8_t>& data) const {
    const std::u16string path = terminated(m_path), nameUnits = terminated(name);
    ENUM_QX_REG_TYPE type;
    int32_t length = 256;
    for (;;) { // again when the value has grown meanwhile
        data.resize(static_cast<size_t>(length));
        const int32_t result = QXRegistryGetValue(m_root, path.c_str(), nameUnits.c_str(), &type,
                                                  data.data(), &length);
        if (result == result::BufferTooSmall)
            continue;
        data.resize(static_cast<size_t>(length)); // none after a failure
        throwIfFailedOf(result, [&] { return shown(*this, name); });
        return type;
    }
}

void RegistryKey::setValue(const String& name, ENUM_QX_REG_TYPE type, const void* data,
                           int32_t length) {
    throwIfFailedOf(QXRegistrySetValue(m_root, terminated(m_path).c_str(), terminated(name).c_str(),
                                       type, data, length),
                    [&] { return shown(*this, name); });
}

void RegistryKey::setValue(const String& name, const String& value) {
    const std::u16string text(value.view()); // with a 0 unit behind it, whatever the string reads
    const size_t length = (text.size() + 1) * sizeof(char16_t);
    if (length > INT32_MAX)
        throwResultOf(result::InvalidArgument, shown(*this, name));
    setValue(name, QX_REG_STRING, text.c_str(), static_cast<int32_t>(length));
}

void RegistryKey::setValue(const String& name, uint32_t value) {
    setValue(name, QX_REG_UINT32, &value, sizeof value);
}

void RegistryKey::setValue(const String& name, uint64_t value) {
    setValue(name, QX_REG_UINT64, &value, sizeof value);
}

void RegistryKey::refuseNegative(const String& name, int64_t value) {
    throw ResultException(result::InvalidArgument, u"The registry has no negative numbers: " +
                                                       name + u" = " + String::valueOf(value));
}

void RegistryKey::setValue(const String& name, const signed char* bytes, int32_t length) {
    setValue(name, QX_REG_BYTES, bytes, length);
}

void RegistryKey::deleteValue(const String& name) {
    throwIfFailedOf(
        QXRegistryDeleteValue(m_root, terminated(m_path).c_str(), terminated(name).c_str()),
        [&] { return shown(*this, name); });
}

int RegistryKey::compareTo(const Object& other) const {
    const auto* const key = &requireCast(castTo<const RegistryKey>(&other));
    if (m_root != key->m_root)
        return m_root < key->m_root ? -1 : 1;
    return m_path.compare(key->m_path, true);
}

bool RegistryKey::equals(const Object& other) const {
    return this == &other || compareTo(other) == 0;
}

uint32_t RegistryKey::hashCode() const { return m_path.hashCode(true); }

} // namespace qx::util
