#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <qx/core/String.h>
#include <qx/text/charset/CharToByteConverter.h>

#include "Buffer.h"
#include "FaultFinder.h"

/// From well-formed UTF-16 to bytes. Characters that the encoding does not have are rejected with a
/// TextFault or replaced.
class Encoder {
public:
    enum class Unmappable {
        Reject,
        Substitute, ///< with the converter's own substitution, and remember it
    };

    Encoder(qx::Reference<qx::text::charset::CharToByteConverter> converter, Unmappable unmappable);
    /// Writes @p replacement instead.
    /// @throws Failure with the status Usage when the encoding does not have it either
    Encoder(qx::Reference<qx::text::charset::CharToByteConverter> converter,
            const qx::String& replacement);

    /// Appends the bytes of the whole of @p units to @p bytes.
    void encode(const char16_t* units, int32_t length, Buffer<signed char>& bytes);

    /// True when characters were substituted that nobody has given a replacement for.
    bool hasSubstituted() const { return m_hasSubstituted; }

    std::string encodingName() const;

private:
    using Finder = FaultFinder<qx::text::charset::CharToByteConverter, char16_t, signed char>;

    void replace(const char16_t* units, int32_t position, int32_t length,
                 Buffer<signed char>& bytes) const;

    void substituteFromNowOn();

    Finder m_finder;
    Unmappable m_unmappable;
    bool m_hasSubstituted = false;
    std::optional<Buffer<signed char>> m_replacement;
};
