#pragma once

#include <cstdint>
#include <string>

/// Passes on what the library said about the component module in the file @p path.
/// @throws Failure for a negative result
void requireModule(int32_t code, const std::string& path);
