#include "Replacement.h"

#include <cstdio>

qx::String Replacement::forBytes(const signed char* bytes, int32_t length) const {
    if (kind == Kind::Default)
        return qx::String(u"\uFFFD");
    if (kind != Kind::Escape)
        return text;
    std::string escaped;
    for (int32_t i = 0; i < length; ++i) {
        char form[8];
        std::snprintf(form, sizeof form, "\\x%02X", static_cast<unsigned>(bytes[i]) & 0xFF);
        escaped += form;
    }
    return qx::String::fromUtf8(escaped);
}

qx::String Replacement::forCharacter(char32_t character) const {
    if (kind != Kind::Escape)
        return text;
    char form[16];
    std::snprintf(form, sizeof form, character > 0xFFFF ? "\\U%08X" : "\\u%04X",
                  static_cast<unsigned>(character));
    return qx::String::fromUtf8(form);
}
