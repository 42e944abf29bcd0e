#pragma once

#include <string>

#include <qx/util/config/RegistryKey.h>

#include "Options.h"
#include "ValueText.h"

/// "type": ..., "value": ...
std::string jsonMembers(const Value& value);

/// What query shows of a key.
std::string keyListing(const Options& options);
