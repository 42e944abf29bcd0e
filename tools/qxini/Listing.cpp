#include "Listing.h"

#include <cstdio>

using qx::String;
using qx::TextView;
using qx::util::IniFileView;

namespace {

std::string utf8(std::u16string_view text) { return String(text).toUtf8(); }

std::string quoted(std::u16string_view text) {
    std::string json = "\"";
    for (const char byte : utf8(text)) {
        if (byte == '"' || byte == '\\') {
            json += '\\';
            json += byte;
        } else if (static_cast<unsigned char>(byte) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
            json += escape;
        } else {
            json += byte;
        }
    }
    return json + '"';
}

/// The elements between brackets, each on a line of its own behind @p indent.
template <class Elements, class Write>
std::string bracketed(const Elements& elements, char open, char close, const std::string& indent,
                      Write write) {
    std::string text;
    for (const auto& element : elements) {
        text += text.empty() ? "\n" : ",\n";
        text += indent + "  " + write(element);
    }
    return open + text + (text.empty() ? "" : '\n' + indent) + close;
}

std::string setObject(const IniFileView& view, TextView set, const std::string& indent) {
    return bracketed(view.keys(set), '{', '}', indent, [&](std::u16string_view key) {
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
    return bracketed(view.sets(), '{', '}', "",
                     [&](std::u16string_view set) {
                         return quoted(set) + ": " + setObject(view, set, indent);
                     }) +
           '\n';
}

std::string namesJson(const std::vector<String>& names) {
    return bracketed(names, '[', ']', "", [](const String& name) { return quoted(name.view()); }) +
           '\n';
}
