#pragma once

#include <cstdint>
#include <string>

#include <qx/core/String.h>

#include "tools/common/Failure.h"

/// What a result code of the registry says about @p name, a key or value.
Failure registryFailure(const std::string& name, int32_t result);

/// @throws what registryFailure gives, for a negative result
void requireRegistry(int32_t result, const std::string& name);

/// Uses the registry in that folder from now on.
/// @throws Failure
void useRegistry(const qx::String& folder);
