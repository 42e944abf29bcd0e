#pragma once

#include <string>

/// A line for every encoding of the library: name, code page (or "-"), other names.
std::string encodingList();
