#pragma once

#include <vector>

#include <qx/core/String.h>

#include "Settings.h"

/// The command line, as given.
struct Options {
    Settings settings;
    std::vector<qx::String> lines; ///< none: standard input is read
};

/// @throws Failure with the status Usage; Answer
Options parseOptions(int argc, char** argv);
