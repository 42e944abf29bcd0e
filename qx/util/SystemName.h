#pragma once

#include <string>

#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::util {

// For the system, names of files, folders, programs, variables and hosts, as well as the arguments
// of a program, are bytes in the default encoding. They are converted exactly or not at all: with a
// replaced character a name would be that of something else.

/// The bytes of a name.
/// @throws ResultException with result::UnmappableCharacter and the name when the default encoding
///     has no form for it, or when it contains a 0 unit, at which the system would cut it off
QX_API std::string toSystemName(const String& name);

/// The name of a file as one that goes on to mean the same file when the process goes to another
/// folder; see QXPathAnchor.
QX_API std::string anchoredName(std::string name);

/// The text of a nul-terminated name, from which toSystemName makes the same bytes; empty for null.
/// @throws ResultException with result::UnmappableCharacter when the name is no text in the default
///     encoding; the description shows bytes beyond ASCII like "\xE4"
QX_API String fromSystemName(const char* name);

} // namespace qx::util
