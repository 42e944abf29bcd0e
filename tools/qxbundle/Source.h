#pragma once

#include <string>
#include <vector>

#include "MessageSet.h"

/// The source of a C++ component module that offers the messages.
std::string moduleSource(const std::vector<NamedMessages>& set);
