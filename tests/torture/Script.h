#pragma once

#include <span>

namespace qxtorture {

/// Some calls of the library that need nothing and leave nothing behind: the current folder is
/// empty at first and the registry a new one. A failure in the middle must leave everything as if
/// the script had not been run, as far as other scripts can see.
struct Script {
    /// "<area>.<what>"
    const char* name;
    void (*run)();
};

std::span<const Script> objectScripts();
std::span<const Script> textScripts();
std::span<const Script> collectionScripts();
std::span<const Script> numberScripts();
std::span<const Script> streamScripts();
std::span<const Script> configurationScripts();
std::span<const Script> serviceScripts();

} // namespace qxtorture
