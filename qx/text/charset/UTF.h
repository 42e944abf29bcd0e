#pragma once

#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

/// Base of the decoders of fixed-width Unicode forms. They hold nothing between calls.
class QX_API ByteToCharUTF : public ByteToCharConverter {
public:
    /// @param name  canonical name of the encoding, 0-terminated; not copied
    explicit ByteToCharUTF(const char16_t* name = u"") : ByteToCharConverter({name, 4, 4}) {}
};

/// Base of the encoders of fixed-width Unicode forms.
class QX_API CharToByteUTF : public CharToByteConverter {
public:
    /// @param name  as above
    explicit CharToByteUTF(const char16_t* name = u"") : CharToByteConverter({name, 4, 4}) {}
};

} // namespace qx::text::charset
