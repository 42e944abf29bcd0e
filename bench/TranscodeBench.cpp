// Transcoding of 1 MiB of encoded text through the converters, beside ICU, Qt and simdutf.

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_ICU
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#endif
#ifdef QX_BENCH_HAVE_QT
#include <QString>
#include <QTextCodec>
#endif
#ifdef QX_BENCH_HAVE_SIMDUTF
#include <simdutf.h>
#endif

#include <qx/core/Reference.h>
#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/UTF16.h>
#include <qx/text/charset/UTF32.h>
#include <qx/text/charset/UTF8.h>

#include "MixedText.h"

namespace {

using namespace qx;
using namespace qx::text::charset;

constexpr size_t TextSize = 1 << 20;

/// Prose, repeated to 1 MiB of UTF-8; a character that the end cuts off is left out.
std::string repeated(std::string_view prose) {
    std::string text;
    while (text.size() + prose.size() <= TextSize)
        text += prose;
    return text;
}

const std::string Ascii = repeated(
    "It was the best of times, it was the worst of times, it was the age of wisdom, it was the age "
    "of foolishness, it was the epoch of belief, it was the epoch of incredulity.\n");
const std::string Latin = repeated(
    "Portez ce vieux whisky au juge blond qui fume. Dès Noël, où un zéphyr haï me vêt de glaçons "
    "würmiens, je dîne d’exquis rôtis de bœuf. Zwölf Boxkämpfer jagen Viktor über den großen "
    "Sylter Deich. El pingüino Wenceslao hizo kilómetros bajo exhaustiva lluvia y frío.\n");
// The same without what Latin-1 lacks.
const std::string Latin1 = repeated(
    "Portez ce vieux whisky au juge blond qui fume. Dès Noël, où un zéphyr haï me vêt de glaçons "
    "würmiens, je dîne de rôtis. Zwölf Boxkämpfer jagen Viktor über den großen Sylter Deich. El "
    "pingüino Wenceslao hizo kilómetros bajo exhaustiva lluvia y frío.\n");
const std::string Greek = repeated(
    "Ξεσκεπάζω την ψυχοφθόρα βδελυγμία. Τάχιστη αλώπηξ βαφής ψημένη γη, δρασκελίζει υπέρ νωθρού "
    "κυνός.\n");
const std::string Cjk = repeated(
    "人人生而自由,在尊严和权利上一律平等。他们赋有理性和良心,并应以兄弟关系的精神相对"
    "待。色は匂へど散りぬるを我が世誰ぞ常ならむ有為の奥山今日越えて浅き夢見じ酔ひもせず\n");
const std::string Emoji = repeated(
    "😀😃😄😁😆😅😂🤣🙂🙃😉😊😇🥰😍🤩😘🚀🌍🎉🔥👍");

std::u16string decoded(ByteToCharConverter& decoder, const std::string& bytes) {
    std::u16string units(bytes.size() + 16, u'\0');
    int32_t consumed = 0;
    int32_t produced = 0;
    decoder.convert(reinterpret_cast<const signed char*>(bytes.data()), &consumed,
                    static_cast<int32_t>(bytes.size()), units.data(), &produced,
                    static_cast<int32_t>(units.size()));
    units.resize(static_cast<size_t>(produced));
    return units;
}

std::string encoded(CharToByteConverter& encoder, const std::u16string& units) {
    std::string bytes(4 * units.size() + 16, '\0');
    int32_t consumed = 0;
    int32_t produced = 0;
    encoder.convert(units.data(), &consumed, static_cast<int32_t>(units.size()),
                    reinterpret_cast<signed char*>(bytes.data()), &produced,
                    static_cast<int32_t>(bytes.size()));
    bytes.resize(static_cast<size_t>(produced));
    return bytes;
}

std::u16string fromUtf8(const std::string& text) {
    BTCUTF8 decoder;
    return decoded(decoder, text);
}

/// Registers @p body, which converts text that takes @p size bytes in its byte encoding.
void add(const std::string& name, size_t size, std::function<void()> body) {
    benchmark::RegisterBenchmark(name.c_str(), [size, body](benchmark::State& state) {
        for (auto _ : state) {
            body();
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
    });
}

template <class Decoder>
void addDecoder(const std::string& name, const std::string& bytes) {
    const auto decoder = makeReference<Decoder>();
    const auto out = std::make_shared<std::vector<char16_t>>(bytes.size() + 16);
    add(name + "/qx", bytes.size(), [decoder, out, &bytes] {
        int32_t consumed = 0;
        int32_t produced = 0;
        decoder->convert(reinterpret_cast<const signed char*>(bytes.data()), &consumed,
                         static_cast<int32_t>(bytes.size()), out->data(), &produced,
                         static_cast<int32_t>(out->size()));
        benchmark::DoNotOptimize(produced);
    });
}

template <class Encoder>
void addEncoder(const std::string& name, const std::u16string& units, size_t size) {
    const auto encoder = makeReference<Encoder>();
    const auto out = std::make_shared<std::vector<signed char>>(4 * units.size() + 16);
    add(name + "/qx", size, [encoder, out, &units] {
        int32_t consumed = 0;
        int32_t produced = 0;
        encoder->convert(units.data(), &consumed, static_cast<int32_t>(units.size()), out->data(),
                         &produced, static_cast<int32_t>(out->size()));
        benchmark::DoNotOptimize(produced);
    });
}

void addUtf8(const std::string& script, const std::string& text) {
    static std::vector<std::unique_ptr<std::u16string>> kept;
    const std::u16string& units =
        *kept.emplace_back(std::make_unique<std::u16string>(fromUtf8(text)));
    const std::string decode = "Utf8ToUtf16" + script;
    const std::string encode = "Utf16ToUtf8" + script;
    [[maybe_unused]] const auto size = static_cast<int32_t>(text.size());
    [[maybe_unused]] const auto unitSize = static_cast<int32_t>(units.size());
    const auto unitRoom = std::make_shared<std::vector<char16_t>>(text.size());
    const auto byteRoom = std::make_shared<std::vector<char>>(text.size());

    addDecoder<BTCUTF8>(decode, text);
#ifdef QX_BENCH_HAVE_ICU
    add(decode + "/icu", text.size(), [=, &text] {
        UErrorCode error = U_ZERO_ERROR;
        int32_t length = 0;
        u_strFromUTF8(unitRoom->data(), size, &length, text.data(), size, &error);
        benchmark::DoNotOptimize(length);
    });
#endif
#ifdef QX_BENCH_HAVE_QT
    add(decode + "/qt", text.size(),
        [=, &text] { benchmark::DoNotOptimize(QString::fromUtf8(text.data(), size)); });
#endif
#ifdef QX_BENCH_HAVE_SIMDUTF
    add(decode + "/simdutf", text.size(), [=, &text] {
        benchmark::DoNotOptimize(
            simdutf::convert_utf8_to_utf16le(text.data(), text.size(), unitRoom->data()));
    });
#endif

    addEncoder<CTBUTF8>(encode, units, text.size());
#ifdef QX_BENCH_HAVE_ICU
    add(encode + "/icu", text.size(), [=, &units] {
        UErrorCode error = U_ZERO_ERROR;
        int32_t length = 0;
        u_strToUTF8(byteRoom->data(), size, &length, units.data(), unitSize, &error);
        benchmark::DoNotOptimize(length);
    });
#endif
#ifdef QX_BENCH_HAVE_QT
    const auto string = std::make_shared<QString>(QString::fromUtf16(units.data(), unitSize));
    add(encode + "/qt", text.size(), [=] { benchmark::DoNotOptimize(string->toUtf8()); });
#endif
#ifdef QX_BENCH_HAVE_SIMDUTF
    add(encode + "/simdutf", text.size(), [=, &units] {
        benchmark::DoNotOptimize(
            simdutf::convert_utf16le_to_utf8(units.data(), units.size(), byteRoom->data()));
    });
#endif
}

#ifdef QX_BENCH_HAVE_ICU
void addIcuCodec(const std::string& name, const char* encoding, const std::string& bytes,
                 const std::u16string& units) {
    UErrorCode error = U_ZERO_ERROR;
    const std::shared_ptr<UConverter> converter(ucnv_open(encoding, &error), ucnv_close);
    const auto unitRoom = std::make_shared<std::vector<char16_t>>(bytes.size() + 16);
    const auto byteRoom = std::make_shared<std::vector<char>>(bytes.size() + 16);
    add(name + "Decode/icu", bytes.size(), [=, &bytes] {
        UErrorCode failure = U_ZERO_ERROR;
        benchmark::DoNotOptimize(ucnv_toUChars(converter.get(), unitRoom->data(),
                                               static_cast<int32_t>(unitRoom->size()), bytes.data(),
                                               static_cast<int32_t>(bytes.size()), &failure));
    });
    add(name + "Encode/icu", bytes.size(), [=, &units] {
        UErrorCode failure = U_ZERO_ERROR;
        benchmark::DoNotOptimize(ucnv_fromUChars(
            converter.get(), byteRoom->data(), static_cast<int32_t>(byteRoom->size()), units.data(),
            static_cast<int32_t>(units.size()), &failure));
    });
}
#endif

#ifdef QX_BENCH_HAVE_QT
void addQtCodec(const std::string& name, const char* encoding, const std::string& bytes,
                const std::u16string& units) {
    QTextCodec* const codec = QTextCodec::codecForName(encoding);
    if (!codec)
        return;
    const auto size = static_cast<int>(bytes.size());
    const auto string =
        std::make_shared<QString>(QString::fromUtf16(units.data(), static_cast<int>(units.size())));
    add(name + "Decode/qt", bytes.size(),
        [=, &bytes] { benchmark::DoNotOptimize(codec->toUnicode(bytes.data(), size)); });
    add(name + "Encode/qt", bytes.size(),
        [=] { benchmark::DoNotOptimize(codec->fromUnicode(*string)); });
}
#endif

template <class Decoder, class Encoder>
void addCodec(const std::string& name, [[maybe_unused]] const char* peerName,
              const std::u16string& text) {
    static std::vector<std::unique_ptr<std::pair<std::string, std::u16string>>> kept;
    kept.push_back(std::make_unique<std::pair<std::string, std::u16string>>());
    auto& [bytes, units] = *kept.back();
    units = text;
    Encoder encoder;
    bytes = encoded(encoder, units);
    addDecoder<Decoder>(name + "Decode", bytes);
    addEncoder<Encoder>(name + "Encode", units, bytes.size());
#ifdef QX_BENCH_HAVE_ICU
    if (peerName)
        addIcuCodec(name, peerName, bytes, units);
#endif
#ifdef QX_BENCH_HAVE_QT
    if (peerName)
        addQtCodec(name, peerName, bytes, units);
#endif
}

/// Text that changes the script by word and by character, and what is nearly of one script.
void addMixtures() {
    const auto addMixture = [](const std::string& name, std::initializer_list<Part> parts,
                               size_t run, size_t length) {
        static std::vector<std::unique_ptr<std::string>> kept;
        CTBUTF8 encoder;
        kept.push_back(std::make_unique<std::string>(encoded(encoder, mixed(parts, run, length))));
        addUtf8(name, *kept.back());
    };
    constexpr size_t length = TextSize / 2;
    const std::initializer_list<Part> scripts = {{EnglishLetters, 20}, {LatinLetters, 10},
                                                 {GreekLetters, 20},   {CjkLetters, 20},
                                                 {EmojiLetters, 10},   {Markup, 20}};
    addMixture("MixedWords", scripts, 6, length);
    addMixture("MixedCharacters", scripts, 1, length);
    addMixture("CjkSomeAscii", {{CjkLetters, 96}, {EnglishLetters, 4}}, 1, length);
    addMixture("EmojiAndAscii", {{EmojiLetters, 50}, {EnglishLetters, 50}}, 1, length);
    addMixture("SomeLatin", {{EnglishLetters, 85}, {LatinLetters, 15}}, 1, length);
    addMixture("Short8", {{EnglishLetters, 85}, {LatinLetters, 15}}, 1, 8);
    addMixture("Short80", {{EnglishLetters, 85}, {LatinLetters, 15}}, 1, 80);
}

void addAll() {
    addUtf8("Ascii", Ascii);
    addUtf8("Latin", Latin);
    addUtf8("Greek", Greek);
    addUtf8("Cjk", Cjk);
    addUtf8("Emoji", Emoji);
    addMixtures();
    addCodec<BTCISO8859_1, CTBISO8859_1>("Iso8859_1", "ISO-8859-1", fromUtf8(Latin1));
    addCodec<BTCCP1252, CTBCP1252>("Cp1252", "windows-1252", fromUtf8(Latin));
    addCodec<BTCCP437, CTBCP437>("Cp437", "IBM437", fromUtf8(Latin1));
    // Of all characters 15 % beyond ASCII, wherever the page has them.
    const auto beyondAscii = [](std::u32string_view letters) {
        return mixed({{EnglishLetters, 85}, {letters, 15}}, 1, TextSize);
    };
    addCodec<BTCCP1252, CTBCP1252>("Cp1252Mixed", "windows-1252",
                                   beyondAscii(U"äöüßéèñçøåÄÖÜÉ€“”–…•šŸ"));
    addCodec<BTCCP437, CTBCP437>("Cp437Mixed", "IBM437", beyondAscii(U"äöüßéèñçÄÖÜÉ│─┌┐░▒αΓπ≡±√"));
    addCodec<BTCUTF16LE, CTBUTF16LE>("Utf16Le", "UTF-16LE", fromUtf8(Latin));
    addCodec<BTCUTF16BE, CTBUTF16BE>("Utf16Be", "UTF-16BE", fromUtf8(Latin));
    addCodec<BTCUTF32LE, CTBUTF32LE>("Utf32Le", "UTF-32LE", fromUtf8(Latin));
    addCodec<BTCUTF32BE, CTBUTF32BE>("Utf32BeEmoji", "UTF-32BE", fromUtf8(Emoji));
    addCodec<BTCAMP7, CTBAMP7>("Amp7", nullptr, fromUtf8(Latin));
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    addAll();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
