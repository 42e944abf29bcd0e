#pragma once

#include <string>
#include <string_view>

#include <qx/util/config/RegistryKey.h>

/* The text form of keys, one line for each key and value:
 *
 *   qxreg 1
 *   key "QX_HKEY_USER\\Software"
 *   "name"=string:"text"
 */

/// The key with all below it.
std::string exportText(const qx::util::RegistryKey& key);

/// Adds keys and values; those of a name that exists are replaced. All text is read first.
/// @throws Failure with the number of the line that cannot be read; nothing is changed then
void importText(std::string_view text);
