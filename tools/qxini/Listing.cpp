#include "Listing.h"

#include "tools/common/Json.h"

using qx::String;
using qx::TextView;
using qx::util::IniFileView;

namespace {

std::string utf8(std::u16string_view text) { return String(text).toUtf8(); }

std::string quoted(std::u16string_view text) { return jsonString(utf8(text)); }

std::string setObject(const IniFileView& view, TextView set, const std::string& indent) {
    return jsonBracketed(view.keys(set), '{', '}', indent, [&](std::u16string_view key) {
        return quoted(key) + ": " + quoted(*view.find(set, key));
    });
}

} // namespace

std::string setText(const IniFileView& view, TextView set) {
    std::string text;
    for (const auto key : view.keys(set))
        text += utf8(key) + '=' + utf8(*view.find(set, key)) + '\n';
    return text;
}

std::string fileText(const IniFileView& view) {
    std::string text;
    for (const auto set : view.sets())
        text += (text.empty() ? "[" : "\n[") + utf8(set) + "]\n" + setText(view, set);
    return text;
}

std::string namesText(const std::vector<String>& names) {
    std::string text;
    for (const String& name : names)
        text += name.toUtf8() + '\n';
    return text;
}

std::string setJson(const IniFileView& view, TextView set) {
    return setObject(view, set, "") + '\n';
}

std::string fileJson(const IniFileView& view) {
    const std::string indent = "  ";
    return jsonBracketed(view.sets(), '{', '}', "",
                         [&](std::u16string_view set) {
                             return quoted(set) + ": " + setObject(view, set, indent);
                         }) +
           '\n';
}

std::string namesJson(const std::vector<String>& names) {
    return jsonBracketed(names, '[', ']', "",
                         [](const String& name) { return quoted(name.view()); }) +
           '\n';
}
