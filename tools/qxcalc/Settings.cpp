#include "Settings.h"

#include <algorithm>
#include <charconv>
#include <string>

const Setting* findSetting(std::u16string_view name) {
    const auto* found = std::ranges::find(SettingTable, name, &Setting::name);
    return found == std::end(SettingTable) ? nullptr : found;
}

bool assign(Settings& settings, const Setting& setting, std::u16string_view digits) {
    const std::string text = qx::String(digits).toUtf8();
    const char* const end = text.data() + text.size();
    int32_t value = 0;
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stopped != end || value < setting.lowest || value > setting.highest)
        return false;
    settings.*setting.value = value;
    return true;
}

qx::String rangeText(const Setting& setting) {
    return qx::String::format(u"{0} must be a number from {1} to {2}", setting.name,
                              qx::String::valueOf(setting.lowest),
                              qx::String::valueOf(setting.highest));
}
