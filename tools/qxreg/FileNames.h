#pragma once

#include <string>

#include <qx/core/String.h>

/// The file's name in the encoding of file names.
std::string fileNameOf(const qx::String& file);

/// The same as an absolute path.
/// @throws Failure
std::string absolutePath(const qx::String& file);
