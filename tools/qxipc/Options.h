#pragma once

#include <cstdint>
#include <optional>

#include <qx/core/String.h>

/// The command line, as given.
struct Options {
    enum class Command { List, Watch, Clean };

    Command command = Command::List;
    std::optional<qx::String> name; ///< of the objects that are listed; all without
    bool json = false;
    int32_t interval = 0; ///< of watch, in milliseconds
    int32_t count = 0;    ///< of states that watch prints; 0: it does not end
};

/// @throws Failure with the status Usage; Answer
Options parseOptions(int argc, const char* const* argv);
