#pragma once

#include <string>

#include <qx/core/String.h>

/// Has the component module in a file enter its classes into the registry.
/// @throws Failure
void registerModule(const qx::String& file);
/// Has it take them out again. Classes that are registered for a file which does not exist any more
/// are taken out without it.
/// @throws Failure
void unregisterModule(const qx::String& file);

/// The registered classes with their modules, one a line or as JSON.
std::string moduleListing(bool json);
