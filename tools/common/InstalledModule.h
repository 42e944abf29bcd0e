#pragma once

#include <optional>
#include <string>

/// The absolute path of a component module that came with the program: from where both are
/// installed, or both are built. Absent when it is in neither.
/// @throws Failure or qx::ResultException when the program's own place cannot be found
std::optional<std::string> installedModule(const char* fileName);
