#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <qx/core/String.h>
#include <qx/platform/registry.h>
#include <qx/util/config/RegistryKey.h>

/// The command line, as given.
struct Options {
    enum class Command { Query, Add, Delete, Export, Import, Watch, Register, Unregister, List };

    Command command = Command::Query;
    std::optional<qx::util::RegistryKey> key;
    std::optional<qx::String> name;
    std::optional<qx::String> value;
    std::optional<qx::String>
        file; ///< or module; export, import: absent or "-" for the standard streams
    ENUM_QX_REG_TYPE type = QX_REG_STRING;
    bool recursive = false;
    bool json = false;
    std::optional<qx::String> registry; ///< its folder
    int32_t interval = 0;               ///< milliseconds between two looks
    int32_t count = 0;                  ///< changes to be seen before watch ends; 0 without end
};

/// @throws Failure with the status Usage; Answer
Options parseOptions(int argc, const char* const* argv);
