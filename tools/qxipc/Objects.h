#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <qx/platform/shared.h>

/// A process that uses an object, or died with it.
struct User {
    int32_t processId; ///< 0 when it is dead or not known
    bool isAlive;
    uint32_t held;
    bool isWriter;
    uint32_t waiting;
    std::string command;
};

struct NamedObject {
    std::string name, path;
    uint32_t kind;
    int64_t value;
    bool isFromDead; ///< the next holder is told that one died
    std::vector<User> users;
};

/// Whether an object has that name, or shows it: a long one is shown shortened, and what a terminal
/// could take for a command as escapes.
bool isNamed(const NamedObject& object, const std::string& name);

/// All objects of the user, by name.
/// @throws Failure
std::vector<NamedObject> listObjects();
/// Removes what has no user; what that was.
/// @throws Failure
std::vector<NamedObject> removeUnused();

/// A line for each object, and an indented one for each of its users.
std::string textOf(const std::vector<NamedObject>& objects);
/// The same as a JSON array of objects, each on a line of its own or all on one.
std::string jsonOf(const std::vector<NamedObject>& objects, bool isOnOneLine);
/// "mutex turn".
std::string titleOf(const NamedObject& object);
