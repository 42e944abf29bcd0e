#pragma once

#include <cstdint>
#include <string_view>

#include "StatementFailure.h"

/// What stays in force from one statement to the next.
struct Settings {
    int32_t scale = 20; ///< digits behind the point that a quotient or root is rounded to
    int32_t inputRadix = 10;
    int32_t outputRadix = 10;
};

/// A setting under the name it has in statements, with the values it may take.
struct Setting {
    std::u16string_view name;
    int32_t Settings::*value;
    int32_t lowest;
    int32_t highest;
};

inline constexpr Setting SettingTable[] = {
    {u"scale", &Settings::scale, 0, 10'000'000},
    {u"ibase", &Settings::inputRadix, 2, 36},
    {u"obase", &Settings::outputRadix, 2, 36},
};

/// The setting called @p name, or null.
const Setting* findSetting(std::u16string_view name);

/// Gives @p setting the value of decimal digits.
/// @return false when @p digits is no number or out of the setting's range
bool assign(Settings& settings, const Setting& setting, std::u16string_view digits);

/// "ibase must be a number from 2 to 36"
qx::String rangeText(const Setting& setting);
