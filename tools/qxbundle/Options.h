#pragma once

#include <optional>
#include <string>
#include <vector>

#include <qx/core/String.h>

/// The command line, as given.
struct Options {
    enum class Command { Check, Compile, Install, Uninstall, List, Get };

    Command command = Command::Check;
    std::vector<qx::String> parameters; ///< behind the command
    std::optional<qx::String> output;   ///< absent or "-": standard output
    std::optional<qx::String> module;
    std::optional<qx::String> locale;
    std::optional<qx::String> registry; ///< its folder
};

/// @throws Failure with the status Usage; Answer
Options parseOptions(int argc, const char* const* argv);
