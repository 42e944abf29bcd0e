#pragma once

#include <optional>
#include <string>

#include <qx/core/String.h>

/// The command line, as given.
struct Options {
    enum class Command { Get, Set, Delete, DeleteSet, List, Sets };

    Command command = Command::Get;
    qx::String file;
    std::optional<qx::String> set;
    std::optional<qx::String> key;
    std::optional<qx::String> value;
    std::optional<qx::String> semaphore;
    bool json = false;
    bool keep = false; ///< a key that is there keeps its value
};

/// @throws Failure with the status Usage; Answer
Options parseOptions(int argc, const char* const* argv);
