#pragma once

#include <optional>

#include <qx/core/Reference.h>
#include <qx/text/charset/UTF8.h>

namespace qx::text::charset::detail {

/// True for UTF-8 under its usual names; for null when it is the default encoding.
bool isUtf8(const char16_t* encoding);

/// A new converter for one text. That for UTF-8, which nearly all text is in, takes no memory.
/// @throws as Base::getConverter
template <class Base, class Utf8>
class ConverterFor {
public:
    explicit ConverterFor(const char16_t* encoding) {
        if (isUtf8(encoding))
            m_utf8.emplace();
        else
            m_other = Base::getConverter(encoding);
    }

    Base& operator*() { return m_utf8 ? *m_utf8 : *m_other; }
    Base* operator->() { return &**this; }

private:
    std::optional<Utf8> m_utf8;
    Reference<Base> m_other;
};

using DecoderFor = ConverterFor<ByteToCharConverter, BTCUTF8>;
using EncoderFor = ConverterFor<CharToByteConverter, CTBUTF8>;

} // namespace qx::text::charset::detail
