#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <qx/core/Reference.h>
#include <qx/io/InputStream.h>

#include "BackgroundWriter.h"
#include "Buffer.h"
#include "Decoder.h"
#include "Encoder.h"
#include "LineEnds.h"
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
    /// Writes what the texts since the last call have to end with.
    void endOutput(BackgroundWriter& writer);

    /// Ends the conversion of everything.
    /// @throws Failure that tells what was replaced although nobody has asked for it
    void finish();

private:
    void start(const Source& source, Progress& progress);
    int32_t readBlock(const Source& source);
    void noteReplaced(const Source& source);
    const Buffer<char16_t>& text();
    int32_t convertBlock(bool atEnd);
    TextFault seenFromInput(TextFault fault);
    std::string describe(const TextFault& fault) const;

    Replacement m_replacement;
    std::optional<std::string> m_from;
    bool m_followsMark; ///< the encoding of the input may be that of its mark
    Decoder m_decoder;
    std::string m_invalid;    ///< encoding in which bad text was replaced
    std::string m_replacedIn; ///< the first source in which any text was
    Encoder m_encoder;
    LineEnds m_lineEnds;
    bool m_isAsked; ///< for what is done with bad text
    int32_t m_markLength = 0;
    Buffer<signed char> m_input;
    Buffer<char16_t> m_units;
    Buffer<char16_t> m_lines;
    Buffer<signed char> m_bytes;
};
