#pragma once

#include <optional>
#include <string>
#include <vector>

/// The command line, as given.
struct Options {
    bool listEncodings = false;
    std::optional<std::string> from; ///< absent: the locale's encoding
    std::optional<std::string> to;
    std::optional<std::string> output; ///< absent: standard output
    bool strict = false;
    std::optional<std::string> substitute; ///< what stands for text that cannot be converted
    std::optional<std::string> errors;     ///< "strict", "replace", "ignore" or "escape"
    std::optional<std::string> lineEnds;   ///< "lf", "crlf" or "cr"
    std::optional<std::string> folder;     ///< for a file of its own for each
    bool inPlace = false;
    std::string keep;               ///< what the names of kept files end with; empty: none is kept
    std::vector<std::string> files; ///< "-" is standard input
};

/// @throws Failure with the status Usage; Answer
Options parseOptions(int argc, char** argv);
