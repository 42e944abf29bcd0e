#pragma once

#include <cstdint>
#include <string>

#include <qx/core/Reference.h>
#include <qx/io/InputStream.h>

#include "BackgroundWriter.h"
#include "Buffer.h"
#include "Decoder.h"
#include "Encoder.h"
#include "Options.h"
#include "Progress.h"

/// A stream and what messages call it.
struct Source {
    qx::Reference<qx::io::InputStream> stream;
    std::string name;
};

/// Carries text from one encoding to another, block by block.
class Conversion {
public:
    /// @throws Failure with the status Usage for an encoding that does not exist
    explicit Conversion(const Options& options);

    /// Writes the whole text of @p source, or what stands before bad text.
    /// @throws Failure that tells the name, and the place of bad text
    void convert(const Source& source, BackgroundWriter& writer, Progress& progress);

    /// Ends the conversion of everything.
    /// @throws Failure that tells what was replaced although nobody has asked for it
    void finish() const;

private:
    int32_t readBlock(const Source& source);
    int32_t convertBlock(bool atEnd);
    TextFault seenFromInput(TextFault fault);
    std::string describe(const TextFault& fault) const;

    Decoder m_decoder;
    Encoder m_encoder;
    Buffer<signed char> m_input;
    Buffer<char16_t> m_units;
    Buffer<signed char> m_bytes;
};
