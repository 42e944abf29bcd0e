#pragma once

#include <vector>

#include <qx/core/String.h>

#include "Settings.h"

/// The command line, as given.
struct Options {
    bool showHelp = false;
    Settings settings;
    std::vector<qx::String> lines; ///< none: standard input is read
};

extern const char HelpText[];

/// @throws Failure with the status Usage
Options parseOptions(int argc, char** argv);
