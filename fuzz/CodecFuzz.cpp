// The codecs of the module, in both directions: the same text however it is cut, what is decoded
// and has a form comes back, and nothing but a fault is dropped. The first two bytes choose the
// encoding, the third the sizes of pieces and output.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <qx/core/Reference.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/text/charset/EncodingException.h>

namespace {

using namespace qx;
using namespace qx::text::charset;

const Reference<IQXCharCodecList>& codecList() {
    static const Reference<IQXCharCodecList> list = findCodecList();
    return list;
}

/// The encodings of the module, none without it.
const std::vector<String>& encodings() {
    static const std::vector<String> names = [] {
        std::vector<String> all;
        uint32_t codePage;
        util::RWCharBuffer text;
        for (int32_t i = 0; codecList() && codecList()->GetEncoding(i, &codePage, &text) >= 0;
             ++i) {
            const std::string line = String(static_cast<const IQXCharBuffer*>(&text)).toUtf8();
            all.push_back(String::fromUtf8(line.substr(0, line.find(' '))));
        }
        return all;
    }();
    return names;
}

/// A codec of its own for each call.
Reference<IQXCharCodec> codecOf(const String& encoding) {
    IQXCharCodec* codec = nullptr;
    if (codecList()->CreateCodec(encoding.getData(), &codec) < 0)
        return nullptr;
    return Reference<IQXCharCodec>::attach(codec);
}

/// The result of all pieces, and what is left of the input at the end.
template <class Out, class Converter, class In>
std::vector<Out> inPieces(Converter& converter, const std::vector<In>& in, size_t piece,
                          size_t capacity, size_t* consumed) {
    converter.reset();
    std::vector<Out> result;
    int32_t position = 0;
    for (size_t end = 0;;) {
        std::vector<Out> out(capacity); // exact, for the address sanitizer
        int32_t produced = 0;
        const int32_t before = position;
        converter.convert(in.data(), &position, static_cast<int32_t>(end), out.data(), &produced,
                          static_cast<int32_t>(capacity));
        result.insert(result.end(), out.begin(), out.begin() + produced);
        if (position != before || produced != 0)
            continue;
        if (end == in.size())
            break;
        end = std::min(end + piece, in.size());
    }
    std::vector<Out> out(32);
    int32_t produced = 0;
    converter.flush(out.data(), &produced, 32);
    result.insert(result.end(), out.begin(), out.begin() + produced);
    *consumed = static_cast<size_t>(position);
    return result;
}

void require(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3 || encodings().empty())
        return 0;
    const size_t choice = data[0] | static_cast<size_t>(data[1]) << 8;
    const String& encoding = encodings()[choice % encodings().size()];
    const Reference<IQXCharCodec> codec = codecOf(encoding);
    if (!codec)
        return 0;
    const size_t piece = 1 + (data[2] & 15);
    const size_t capacity = 16 + (data[2] >> 4);
    const std::vector<signed char> bytes(data + 3, data + size);
    BTCCom decoder(codec);
    size_t whole = 0, cut = 0;
    const auto units = inPieces<char16_t>(decoder, bytes, bytes.size() + 1, 4 * size + 16, &whole);
    require(inPieces<char16_t>(decoder, bytes, piece, capacity, &cut) == units && cut == whole);

    CTBCom encoder(codecOf(encoding));
    encoder.setReplaceHalves(true);
    signed char form[16];
    // The substitution is text, and the replacement character is not. IBM932 writes the pound sign
    // as a byte that it does not read, as the system's converter does.
    const bool isTold = encoding != u"IBM932" &&
                        encoder.convertChar(ReplacementCharacter, form, sizeof form) < 1 &&
                        encoder.convertChar(U'?', form, sizeof form) == 1 && form[0] == '?';
    encoder.reset();
    const std::vector<char16_t> text(reinterpret_cast<const char16_t*>(bytes.data()),
                                     reinterpret_cast<const char16_t*>(bytes.data()) +
                                         bytes.size() / 2);
    for (const auto& each : {units, text}) {
        const auto written =
            inPieces<signed char>(encoder, each, each.size() + 1, 16 * size + 64, &whole);
        require(whole == each.size());
        require(inPieces<signed char>(encoder, each, piece, capacity, &cut) == written);
        // What it writes is text of the encoding.
        const auto back =
            inPieces<char16_t>(decoder, written, written.size() + 1, 8 * size + 64, &cut);
        require(cut == written.size());
        require(!isTold || std::find(back.begin(), back.end(), u'\xFFFD') == back.end());
    }
    return 0;
}
