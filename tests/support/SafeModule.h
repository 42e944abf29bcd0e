#pragma once

#include <string>

namespace qxtest {

/// The path of a copy of a component module of the build that may be loaded: the build tree may
/// belong to somebody else, or be one that a group may write. The copy goes with the process.
std::string safeModule(const std::string& path);

/// Unloads the component modules that nobody uses or has used for that time; how many are kept.
int freeModules(unsigned delayMs = 0);

} // namespace qxtest
