#pragma once

#include <string>

/// A JSON string of text in UTF-8; bytes that are none become U+FFFD.
std::string jsonString(const std::string& text);

/// The elements between brackets, each on a line of its own behind @p indent.
template <class Elements, class Write>
std::string jsonBracketed(const Elements& elements, char open, char close,
                          const std::string& indent, Write write) {
    std::string text;
    for (const auto& element : elements) {
        text += text.empty() ? "\n" : ",\n";
        text += indent + "  " + write(element);
    }
    return open + text + (text.empty() ? "" : '\n' + indent) + close;
}
