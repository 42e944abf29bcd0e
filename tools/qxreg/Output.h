#pragma once

#include <string>
#include <string_view>

#include <qx/util/RegistryKey.h>

#include "Options.h"
#include "ValueText.h"

/// Writes to standard output.
/// @throws Failure
void printOut(std::string_view text);

/// "type": ..., "value": ...
std::string jsonMembers(const Value& value);

/// What query shows of a key.
std::string keyListing(const Options& options);
