#include "tools/common/Json.h"

#include <cstdio>

#include <qx/core/String.h>

std::string jsonString(const std::string& text) {
    std::string json = "\"";
    for (const char byte : qx::String::fromUtf8(text).toUtf8()) {
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
