// AMP-7: whatever the encoder writes reads back as it was; the decoder gives the same in pieces.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/Surrogates.h>

namespace {

using namespace qx::text::charset;

/// The units decoded before the end or the fault; @p threw tells which.
std::u16string decode(const std::vector<signed char>& bytes, size_t piece, size_t capacity,
                      bool& threw) {
    BTCAMP7 decoder;
    std::u16string units;
    int32_t position = 0;
    threw = false;
    for (size_t end = std::min(piece, bytes.size());;) {
        std::vector<char16_t> out(capacity); // exact, for the address sanitizer
        int32_t produced = 0;
        const int32_t before = position;
        try {
            decoder.convert(bytes.data(), &position, static_cast<int32_t>(end), out.data(),
                            &produced, static_cast<int32_t>(capacity));
        } catch (const InvalidCharacterException&) {
            threw = true;
            return units;
        }
        units.append(out.data(), static_cast<size_t>(produced));
        if (position != before)
            continue;
        if (end == bytes.size())
            return units;
        end = std::min(end + piece, bytes.size());
    }
}

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// The input as UTF-16 of characters that AMP-7 can carry.
std::u16string carriedText(const uint8_t* data, size_t size) {
    std::u16string text;
    for (size_t i = 0; i + 3 <= size; i += 3) {
        const char32_t value = (data[i] & 0x0Fu) << 16 | data[i + 1] * 0x100u | data[i + 2];
        char16_t units[2];
        if (!isSurrogate(value) && value != ReplacementCharacter)
            text.append(units, writeUtf16(value, units));
    }
    return text;
}

void checkRoundTrip(const std::u16string& text) {
    CTBAMP7 encoder;
    std::vector<signed char> bytes(8 * text.size() + 1);
    int32_t consumed = 0;
    int32_t produced = 0;
    encoder.convert(text.data(), &consumed, static_cast<int32_t>(text.size()), bytes.data(),
                    &produced, static_cast<int32_t>(bytes.size()));
    require(consumed == static_cast<int32_t>(text.size()));
    bytes.resize(static_cast<size_t>(produced));
    bool threw = false;
    require(decode(bytes, bytes.size() + 1, text.size() + 2, threw) == text && !threw);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    checkRoundTrip(carriedText(data + 1, size - 1));

    const std::vector<signed char> bytes(data + 1, data + size);
    bool wholeThrew = false;
    bool piecesThrew = false;
    const std::u16string whole = decode(bytes, bytes.size() + 1, bytes.size() + 2, wholeThrew);
    const size_t piece = 1 + (data[0] & 0x0Fu);
    const std::u16string pieces = decode(bytes, piece, 2 + (data[0] >> 4), piecesThrew);
    require(wholeThrew == piecesThrew);
    require(wholeThrew || whole == pieces);
    return 0;
}
