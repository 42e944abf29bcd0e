#pragma once

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/PropertySet.h>

namespace qx::util {

class IniFile;
class RegistryKey;

/// A new property set of the keys and values of one set of an INI file, all of one moment. Names
/// keep the letter case of the file, and case counts in the property set. Later changes on either
/// side do not reach the other.
/// @param parent  of the new set; null for none
/// @throws IniFileException SET_NOT_FOUND; a set that is there through its subsets alone is empty.
///     ResultException of the file
QX_API Reference<PropertySet> propertiesOf(IniFile& ini, const String& set,
                                           const PropertySet* parent = nullptr);

/// The same of the values of a registry key, as they are one after the other: numbers in decimal,
/// raw bytes as pairs of hexadecimal digits in upper case, the default value under the empty name.
/// @throws ResultException with result::NotFound when there is no such key, or of the registry
QX_API Reference<PropertySet> propertiesOf(const RegistryKey& key,
                                           const PropertySet* parent = nullptr);

} // namespace qx::util
