#pragma once

#include <cstdint>
#include <string>

#include "qx/util/detail/IniSets.h"

namespace qx::util::detail {

/// Appends the text of an INI file to @p text, in the default encoding: the sets with their keys as
/// they are listed, so they should be sorted, and behind them what was not read.
/// @return 0, or the code of QXUnicodeToAnsi for the first name or value that was cut because it is
///     too long or has no form in the encoding
int32_t writeIni(const IniSets& sets, std::string& text);

/// Why a set, key and value cannot stand in a file, as result::InvalidArgument; 0 when they can.
int32_t checkIniTexts(std::u16string_view set, std::u16string_view key,
                      std::u16string_view value) noexcept;

} // namespace qx::util::detail
