#pragma once

#include <cstdint>
#include <string>

#include <qx/core/String.h>
#include <qx/text/charset/CharToByteConverter.h>

#include "Buffer.h"
#include "FaultFinder.h"
#include "Replacement.h"

/// From well-formed UTF-16 to bytes. Characters that the encoding does not have are rejected with a
/// TextFault or replaced.
class Encoder {
public:
    /// @throws Failure with the status Usage when the encoding does not have the text of
    ///     @p replacement either
    Encoder(qx::Reference<qx::text::charset::CharToByteConverter> converter,
            Replacement replacement);

    /// Appends the bytes of the whole of @p units to @p bytes.
    void encode(const char16_t* units, int32_t length, Buffer<signed char>& bytes);

    /// Appends what the text has to end with; the next one begins afresh.
    void finish(Buffer<signed char>& bytes) { m_finder.finish(bytes); }

    /// True when characters were substituted that nobody has given a replacement for.
    bool hasSubstituted() const { return m_hasSubstituted; }

    std::string encodingName() const;

private:
    using Finder = FaultFinder<qx::text::charset::CharToByteConverter, char16_t, signed char>;

    void replace(const char16_t* units, int32_t position, int32_t length,
                 Buffer<signed char>& bytes);
    void encodeClean(const qx::String& text, Buffer<signed char>& bytes);
    void substituteFromNowOn();

    Finder m_finder;
    Replacement m_replacement;
    bool m_hasSubstituted = false;
};
