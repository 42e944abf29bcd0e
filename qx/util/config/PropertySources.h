#pragma once

#include <qx/core/AnyText.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/PropertySet.h>

namespace qx::util {

class IniFile;
class RegistryKey;

/// A new property set with the keys and values that one set of an INI file has at one moment. Names
/// keep the letter case of the file and are case-sensitive in the property set. Later changes on
/// either side do not reach the other.
/// @param parent  of the new set; null for none
/// @throws IniFileException SET_NOT_FOUND, but a set that exists only through its subsets is empty;
///     ResultException that names the file when that cannot be read, so that there is no telling
QX_API Reference<PropertySet> propertiesOf(IniFile& ini, const String& set,
                                           const PropertySet* parent = nullptr);
inline Reference<PropertySet> propertiesOf(IniFile& ini, const OtherText auto& set,
                                           const PropertySet* parent = nullptr) {
    return propertiesOf(ini, stringOf(set), parent);
}

/// The same for the values of a registry key, which are read one after the other. Numbers become
/// decimal digits, raw bytes pairs of hexadecimal digits in upper case; the default value gets the
/// empty name.
/// @throws ResultException with result::NotFound when there is no such key, or with the code of the
///     registry
QX_API Reference<PropertySet> propertiesOf(const RegistryKey& key,
                                           const PropertySet* parent = nullptr);

} // namespace qx::util
