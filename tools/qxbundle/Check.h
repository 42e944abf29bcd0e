#pragma once

#include <string>
#include <vector>

#include "MessageSet.h"

/// A line for each thing that is wrong: the mistakes of the files and, where they have none, what
/// the locales of a base do not have in common, and placeholders that are never replaced.
std::string findFaults(const std::vector<NamedMessages>& set);
