#pragma once

#include <string>

#include <qx/core/String.h>

/// A name in the encoding of file names, which is the default one, and the text that it stands for.
inline std::string toFileName(const qx::String& text) {
    return reinterpret_cast<const char*>(text.getBytes());
}
inline qx::String fromFileName(const std::string& name) { return qx::String(name.c_str()); }
