#pragma once

#include <cstdint>
#include <string>

#include "tools/common/Failure.h"

/// What a result code of the platform says about @p name, a key, value or file.
Failure platformFailure(const std::string& name, int32_t result);

/// @throws what platformFailure gives, for a negative result
void require(int32_t result, const std::string& name);
