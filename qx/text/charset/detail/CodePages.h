#pragma once

#include <cstdint>

#include <qx/platform/export.h>

/// The single-byte code pages, generated from their published mappings.
namespace qx::text::charset::detail {

/// One code page, both ways.
struct CodePage {
    const char16_t* name;
    /// 256 units by byte; U+FFFD for a byte that the page leaves undefined.
    const char16_t* toUnits;
    /// The inverse in two levels: the byte for unit u is bytes[offsets[u >> 8] + (u & 0xFF)], 0
    /// when there is none. The many high bytes that a page never uses share the first 256 bytes,
    /// all 0, so that a page takes some 2 KiB in place of 64.
    const int32_t* offsets;
    const signed char* bytes;
};

QX_API extern const CodePage CodePage437;
QX_API extern const CodePage CodePage1252;

} // namespace qx::text::charset::detail
