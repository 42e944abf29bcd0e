// The UTF-8 decoder, fed in pieces, against the plain one; both modes.
// The first byte gives the mode and the sizes of pieces and output.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/UTF8.h>

#include "tests/support/PlainUtf8.h"

namespace {

using namespace qx::text::charset;
using qxtest::PlainStep;

struct Result {
    std::u16string units;
    size_t consumed = 0;
    bool threw = false;
};

Result plain(const std::vector<uint8_t>& bytes, bool strict) {
    Result result;
    while (result.consumed < bytes.size()) {
        const uint8_t* const at = bytes.data() + result.consumed;
        const size_t left = bytes.size() - result.consumed;
        const PlainStep step = qxtest::plainUtf8(at, left, strict);
        if (step.kind == PlainStep::Cut)
            break;
        if (step.kind == PlainStep::Surrogate) {
            result.threw = true;
            break;
        }
        if (step.kind == PlainStep::OutOfRange)
            result.units += u'\uFFFD';
        else
            result.units.append(step.units, step.count);
        result.consumed += step.consumed;
    }
    return result;
}

Result inPieces(const std::vector<uint8_t>& bytes, bool strict, size_t piece, size_t capacity) {
    BTCUTF8 decoder;
    decoder.setStrict(strict);
    Result result;
    int32_t position = 0;
    for (size_t end = 0;;) {
        std::vector<char16_t> out(capacity); // exact, for the address sanitizer
        int32_t produced = 0;
        const int32_t before = position;
        try {
            decoder.convert(reinterpret_cast<const signed char*>(bytes.data()), &position,
                            static_cast<int32_t>(end), out.data(), &produced,
                            static_cast<int32_t>(capacity));
        } catch (const InvalidCharacterException&) {
            result.threw = true;
            break;
        }
        result.units.append(out.data(), static_cast<size_t>(produced));
        if (position != before)
            continue;
        if (end == bytes.size())
            break;
        end = std::min(end + piece, bytes.size());
    }
    result.consumed = static_cast<size_t>(position);
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const bool strict = (data[0] & 1) != 0;
    const size_t piece = 1 + (data[0] >> 1 & 7) * 13;
    const size_t capacity = 2 + (data[0] >> 4) * 9;
    const std::vector<uint8_t> bytes(data + 1, data + size);
    const Result model = plain(bytes, strict);
    const Result result = inPieces(bytes, strict, piece, capacity);
    // What the throwing call wrote is not reported, so a throw only bounds the units from above.
    const bool agree =
        model.threw == result.threw &&
        (model.threw ? model.units.compare(0, result.units.size(), result.units) == 0
                     : model.units == result.units && model.consumed == result.consumed);
    if (!agree)
        std::abort();
    return 0;
}
