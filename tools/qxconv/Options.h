#pragma once

#include <optional>
#include <string>
#include <vector>

/// The command line, as given.
struct Options {
    enum class Action { Convert, ListEncodings, ShowHelp };

    Action action = Action::Convert;
    std::optional<std::string> from; ///< absent: the locale's encoding
    std::optional<std::string> to;
    std::optional<std::string> output; ///< absent: standard output
    bool strict = false;
    std::optional<std::string> substitute; ///< what stands for text that cannot be converted
    std::vector<std::string> files;        ///< "-" is standard input
};

extern const char HelpText[];

/// @throws Failure with the status Usage
Options parseOptions(int argc, char** argv);
