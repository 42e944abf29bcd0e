#pragma once

#include <string>

#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::util {

// Names of files, folders, programs, variables and hosts, and the arguments of a program, are bytes
// in the default encoding to the system. They are converted as they are or not at all: with a
// character replaced, a name would be that of something else.

/// The bytes of a name.
/// @throws ResultException with result::UnmappableCharacter and the name when the default encoding
///     has no form for it, or when it has a 0 unit, at which the system would cut it
QX_API std::string toSystemName(const String& name);

/// The text of a nul-terminated name, from which toSystemName makes the same bytes.
/// @throws ResultException with result::UnmappableCharacter, and the name with its other bytes as
///     "\xE4", when it is no text in the default encoding
QX_API String fromSystemName(const char* name);

} // namespace qx::util
