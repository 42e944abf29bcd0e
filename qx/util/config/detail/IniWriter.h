#pragma once

#include <cstdint>
#include <string>

#include <qx/util/config/detail/IniSets.h>

namespace qx::util::detail {

/// Appends the text of an INI file to @p text, in the default encoding: the sets with their keys as
/// they are listed, so they should be sorted, and behind them what was not read.
/// @return 0; result::UnmappableCharacter when a name or value has no form in the encoding, and the
///     text is of no use; else result::BufferTooSmall when one was cut because it is too long
int32_t writeIni(const IniSets& sets, std::string& text);

/// Why a set, key and value cannot stand in a file, as result::InvalidArgument; 0 when they can.
int32_t checkIniTexts(std::u16string_view set, std::u16string_view key,
                      std::u16string_view value) noexcept;

/// The code of QXUnicodeToAnsi for a value, or a set or key that is not there yet, which has no
/// form in the default encoding; 0 when all have one.
int32_t checkNewIniTexts(const IniSets& sets, std::u16string_view set, std::u16string_view key,
                         std::u16string_view value);

} // namespace qx::util::detail
