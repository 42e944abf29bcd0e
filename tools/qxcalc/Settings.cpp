#include "Settings.h"

#include <algorithm>
#include <optional>

const Setting* findSetting(std::u16string_view name) {
    const auto* found = std::ranges::find(SettingTable, name, &Setting::name);
    return found == std::end(SettingTable) ? nullptr : found;
}

bool assign(Settings& settings, const Setting& setting, std::u16string_view digits) {
    const std::optional<int32_t> value = qx::String(digits).toInt();
    if (!value || *value < setting.lowest || *value > setting.highest)
        return false;
    settings.*setting.value = *value;
    return true;
}

qx::String rangeText(const Setting& setting) {
    return qx::String::format(u"{0} must be a number from {1} to {2}", setting.name,
                              qx::String::valueOf(setting.lowest),
                              qx::String::valueOf(setting.highest));
}
