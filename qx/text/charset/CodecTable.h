#pragma once

#include <cstdint>
#include <span>

#include <qx/platform/export.h>

namespace qx::text::charset {

/// One name of an encoding. All texts are 0-terminated and live as long as the library.
struct CodecRow {
    const char16_t* name;
    /// 0 for an encoding without code page.
    uint32_t codePage;
    /// The primary name of which this row is an alias; null in the primary row itself.
    const char16_t* canonicalName;
    /// Runtime class names of the encoder and the decoder.
    const char16_t* encoderClass;
    const char16_t* decoderClass;
};

/// The built-in encodings: each primary row followed by its aliases.
QX_API std::span<const CodecRow> codecTable();

} // namespace qx::text::charset
