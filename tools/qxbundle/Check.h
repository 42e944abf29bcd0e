#pragma once

#include <string>
#include <vector>

#include "MessageSet.h"

/// A line for each thing that is wrong: the mistakes of the files and, for each base whose files
/// have none, what its locales do not have in common, and placeholders that are never replaced.
std::string findFaults(const std::vector<NamedMessages>& set);
