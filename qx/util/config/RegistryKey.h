#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include <qx/collections/TypedIterator.h>
#include <qx/core/AnyText.h>
#include <qx/core/ByteView.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/platform/registry.h>

namespace qx::util {

class RegistrySubkeyIterator;

namespace detail {

/// A whole number or truth value that is none of the types of the registry, and no character.
template <class T>
concept PlainInteger = (std::signed_integral<T> && !std::same_as<T, char> &&
                        !std::same_as<T, wchar_t>) ||
                       std::same_as<T, bool> || std::same_as<T, unsigned char> ||
                       std::same_as<T, unsigned short> || std::same_as<T, unsigned long long>;

template <class T>
concept WholeNumber = PlainInteger<T> || std::same_as<T, uint32_t> || std::same_as<T, uint64_t>;

} // namespace detail

/// The name of one key of the registry: a root and a path of names with "\" between them. An object
/// keeps nothing open, and the key need not exist. Every member that uses the registry does so at
/// once, atomically and durably (see qx/platform/registry.h), and throws ResultException with the
/// platform's code: result::NotFound for a key or value that does not exist, result::Corrupt for a
/// damaged registry, result::InvalidArgument for a name that contains a 0 unit.
///
/// The value with the empty name is the key's default value; the overloads without a name use it.
/// The case of letters in the names of keys and values does not matter. Several threads may use the
/// same constant object.
class QX_API RegistryKey : public Object {
public:
    /// @param key  the name of a root in any letter case, or that with "\" and a path; "/" counts
    ///     as "\". The names are those of ENUM_QX_HKEY; QX_HKEY_CLASSES and QX_HKEY_CONFIG name
    ///     the native view.
    /// @throws Exception "Unknown QX_HKEY"
    explicit RegistryKey(const String& key);
    /// @param path  empty for the root itself; "/" counts as "\"
    /// @throws Exception "Unknown QX_HKEY" when @p root is not one of them
    RegistryKey(ENUM_QX_HKEY root, const String& path);
    /// The same for texts in other forms, UTF-8 among them, as all members below that are
    /// templates.
    explicit RegistryKey(const OtherText auto& key) : RegistryKey(stringOf(key)) {}
    RegistryKey(ENUM_QX_HKEY root, const OtherText auto& path)
        : RegistryKey(root, stringOf(path)) {}
    RegistryKey(const RegistryKey& other) = default;
    RegistryKey& operator=(const RegistryKey& other) = default;

    ENUM_QX_HKEY getHKEY() const noexcept { return m_root; }
    /// The last name of the path; empty for a root.
    const String& getKeyName() const noexcept { return m_keyName; }
    /// The root's name, "\" and the path, which the constructor accepts; when @p relative, without
    /// the root's name. For a root it is the name alone.
    String getKey(bool relative = false) const;

    /// @throws Exception "No parent key" for a path of one name and for a root
    RegistryKey getParent() const;
    RegistryKey getSubkey(const String& name) const;
    RegistryKey getSubkey(const OtherText auto& name) const { return getSubkey(stringOf(name)); }

    /// An iterator over the direct subkeys of this moment, in the order of their lower-case names.
    /// Its next throws Exception "no more keys" at the end.
    Reference<collections::ConstIterator<RegistryKey>> getSubkeyIterator() const;
    /// The same for the names of the values, with "no more values".
    Reference<collections::ConstIterator<String>> getValueIterator() const;
    /// The same as lists of this moment, for a loop that changes what it goes through:
    ///
    ///     for (const RegistryKey& subkey : key.subkeys())
    ///         for (const String& name : subkey.valueNames())
    std::vector<RegistryKey> subkeys() const;
    std::vector<String> valueNames() const;

    /// Deletes the key with its values and all keys below it. A root cannot be deleted
    /// (result::InvalidArgument).
    void remove();

    /// False also when the registry cannot be read, and for a key that does not exist.
    bool valueExists(const String& name) const;
    bool valueExists() const { return valueExists(String()); }
    bool valueExists(const OtherText auto& name) const { return valueExists(stringOf(name)); }
    /// The type that the value has now; like every getter it throws result::NotFound where there is
    /// no such value.
    ENUM_QX_REG_TYPE getValueType(const String& name) const;
    ENUM_QX_REG_TYPE getValueType() const { return getValueType(String()); }
    ENUM_QX_REG_TYPE getValueType(const OtherText auto& name) const {
        return getValueType(stringOf(name));
    }

    /// The getters throw Exception "Registry type mismatch" for a value of another type; its detail
    /// names both types.
    String getValueString(const String& name) const;
    String getValueString() const { return getValueString(String()); }
    uint32_t getValueUINT32(const String& name) const;
    uint32_t getValueUINT32() const { return getValueUINT32(String()); }
    uint64_t getValueUINT64(const String& name) const;
    uint64_t getValueUINT64() const { return getValueUINT64(String()); }
    String getValueString(const OtherText auto& name) const {
        return getValueString(stringOf(name));
    }
    uint32_t getValueUINT32(const OtherText auto& name) const {
        return getValueUINT32(stringOf(name));
    }
    uint64_t getValueUINT64(const OtherText auto& name) const {
        return getValueUINT64(stringOf(name));
    }
    /// Copies raw bytes and returns their number.
    /// @param length  the capacity of @p bytes
    /// @throws ResultException with result::BufferTooSmall when they do not fit
    int32_t getValue(const String& name, signed char* bytes, int32_t length) const;
    int32_t getValue(signed char* bytes, int32_t length) const {
        return getValue(String(), bytes, length);
    }
    /// The same into a std::span of any type of bytes.
    template <SomeText Name, qx::detail::ByteType Byte, size_t Extent>
    int32_t getValue(const Name& name, std::span<Byte, Extent> bytes) const {
        const size_t length = bytes.size() < INT32_MAX ? bytes.size() : INT32_MAX;
        return getValue(stringOf(name), reinterpret_cast<signed char*>(bytes.data()),
                        static_cast<int32_t>(length));
    }
    /// Reads the stored data of a value of any type, and returns the type at the same moment.
    ENUM_QX_REG_TYPE getValueData(const String& name, std::vector<uint8_t>& data) const;
    ENUM_QX_REG_TYPE getValueData(const OtherText auto& name, std::vector<uint8_t>& data) const {
        return getValueData(stringOf(name), data);
    }

    /// The setters create the key when it does not exist and replace a value of any type.
    void setValue(const String& name, const String& value);
    void setValue(const String& value) { setValue(String(), value); }
    void setValue(const String& name, uint32_t value);
    void setValue(uint32_t value) { setValue(String(), value); }
    void setValue(const String& name, uint64_t value);
    void setValue(uint64_t value) { setValue(String(), value); }
    /// Stores any other whole number in 64 bits when its type has them, else in 32; a truth value
    /// as 1 or 0.
    /// @throws ResultException with result::InvalidArgument for a negative number, which the
    ///     registry has no type for
    template <detail::PlainInteger T>
    void setValue(const String& name, T value) {
        using Stored = std::conditional_t<sizeof(T) == sizeof(uint64_t), uint64_t, uint32_t>;
        if constexpr (std::signed_integral<T>) {
            if (value < 0)
                refuseNegative(name, value);
        }
        setValue(name, static_cast<Stored>(value));
    }
    template <detail::PlainInteger T>
    void setValue(T value) {
        setValue(String(), value);
    }
    void setValue(const String& name, const signed char* bytes, int32_t length);
    void setValue(const signed char* bytes, int32_t length) { setValue(String(), bytes, length); }
    /// The same for whatever holds bytes and is no text: a std::span or std::vector of bytes.
    template <SomeText Name, SomeBytes Bytes>
    requires(!SomeText<Bytes>) void setValue(const Name& name, const Bytes& bytes) {
        const ByteView view(bytes);
        setValue(stringOf(name), view.data(), view.length());
    }

    void setValue(const OtherText auto& value) { setValue(String(), stringOf(value)); }
    template <class Name, class Value>
    requires OtherText<Name, Value>
    void setValue(const Name& name, const Value& value) {
        setValue(stringOf(name), stringOf(value));
    }
    void setValue(const OtherText auto& name, detail::WholeNumber auto value) {
        setValue(stringOf(name), value);
    }

    /// There is no type for fractions.
    void setValue(const SomeText auto& name, std::floating_point auto value) = delete;

    /// Deletes one value; the key stays.
    /// @throws ResultException with result::NotFound where there is no such value
    void deleteValue(const String& name);
    void deleteValue(const OtherText auto& name) { deleteValue(stringOf(name)); }
    void deleteValue() { deleteValue(String()); }

    /// Orders by root and then by path without regard to letter case.
    /// @throws CastFailedException when @p other is no RegistryKey
    int compareTo(const Object& other) const override;
    bool equals(const Object& other) const override;
    /// The hash of the path; the same for paths that differ only in letter case.
    uint32_t hashCode() const override;

    /// As compareTo.
    friend bool operator==(const RegistryKey& left, const RegistryKey& right) {
        return left.compareTo(right) == 0;
    }
    friend std::weak_ordering operator<=>(const RegistryKey& left, const RegistryKey& right) {
        return left.compareTo(right) <=> 0;
    }

private:
    friend class RegistrySubkeyIterator;

    /// The subkey of this very name, in which "/" is a unit like others.
    RegistryKey childNamed(const String& name) const;
    /// Takes the root's name off @p key.
    static ENUM_QX_HKEY extractQXHkey(String& key);
    void normalize();
    [[noreturn]] static void refuseNegative(const String& name, int64_t value);
    int32_t tryGetValue(const String& name, ENUM_QX_REG_TYPE expected, void* buffer,
                        int32_t& length) const;
    void setValue(const String& name, ENUM_QX_REG_TYPE type, const void* data, int32_t length);

    ENUM_QX_HKEY m_root;
    String m_path;
    String m_keyName;
};

} // namespace qx::util

extern template class QX_API qx::collections::ConstIterator<qx::util::RegistryKey>;

template <>
struct std::hash<qx::util::RegistryKey> {
    std::size_t operator()(const qx::util::RegistryKey& key) const { return key.hashCode(); }
};

using CQXRegistryKey = qx::util::RegistryKey;
