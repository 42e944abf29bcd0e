#pragma once

#include "Options.h"

/// Prints the changes below the key of the options, one a line, until as many were seen as asked.
void watch(const Options& options);
