#pragma once

#include <cstdint>

/// A text that lives as long as the program. The length is in units and does not count a final 0
/// unit. A literal of a component module lives until the module is unloaded.
struct STRUCT_QX_STR_LIT_INFO {
    const char16_t* units;
    int32_t length;
};
