#pragma once

#include <optional>
#include <string>
#include <vector>

#include <qx/core/String.h>
#include <qx/i18n/BundleName.h>
#include <qx/i18n/MessageFile.h>

/// A file that was read.
struct NamedMessages {
    std::string path; ///< in the encoding of file names
    qx::i18n::BundleName name;
    qx::i18n::MessageFile file;
};

/// The message files that were named, each once, and those in the folders that were. A base stands
/// together, each locale behind the more general ones.
/// @throws Failure for a file that cannot be read or has no name of a message file, for a folder
///     without one, for two files of one bundle
std::vector<NamedMessages> readMessages(const std::vector<qx::String>& files);

/// The set's messages of the next more general locale that it has, or null.
const NamedMessages* generalOf(const std::vector<NamedMessages>& set, const NamedMessages& each);

/// @throws Failure with the first mistake of a file that has one
void requireFaultless(const std::vector<NamedMessages>& set);

/// "FILE:LINE"
std::string placeOf(const NamedMessages& in, int32_t line);
