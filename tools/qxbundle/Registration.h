#pragma once

#include <optional>
#include <string>
#include <vector>

#include <qx/core/String.h>
#include <qx/i18n/BundleName.h>

#include "MessageSet.h"

/// Enters the files into the registry, all or none, replacing what they had before.
/// @param module  path of the module that serves message files; nothing: the one beside the program
/// @throws Failure also when another module has one of the bundles
void install(const std::vector<NamedMessages>& set, const std::optional<qx::String>& module);

/// Takes the files of a base out.
/// @throws Failure when there are none
void uninstall(const qx::String& baseName);

/// A bundle in the registry.
struct RegisteredBundle {
    qx::i18n::BundleName name;
    qx::String classId;
    qx::String file;   ///< with its messages; empty when they are in the module
    qx::String module; ///< empty when there is none
};

/// Those of one base, or all, in the order of their names.
std::vector<RegisteredBundle> registeredBundles(const std::optional<qx::String>& baseName);
