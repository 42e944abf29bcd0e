// Transcoding of 1 MiB through the codec components of modules/codecs, beside iconv and ICU.

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>
#include <iconv.h>

#ifdef QX_BENCH_HAVE_ICU
#include <unicode/ucnv.h>
#endif

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/module.h>
#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

#include "BenchRegistry.h"
#include "MixedText.h"
#include "tests/support/SafeModule.h"

namespace {

using namespace qx;
using namespace qx::text::charset;

/// A text in its encoding and in UTF-16, and room for what comes out.
struct Text {
    std::string bytes;
    std::u16string units;
    std::u16string unitRoom;
    std::string byteRoom;
};

void require(bool condition) {
    if (!condition)
        std::abort();
}

constexpr size_t TextUnits = 1 << 20;

/// Prose in UTF-8, repeated.
std::u16string repeated(const char* prose) {
    const String once = String::fromUtf8(prose);
    std::u16string text;
    while (text.size() < TextUnits)
        text += once.view();
    return text;
}

/// Of all characters 15 % beyond ASCII, a character at a time.
std::u16string beyondAscii(std::u32string_view letters) {
    return mixed({{EnglishLetters, 85}, {letters, 15}}, 1, TextUnits);
}

/// Words of several scripts, among them that of @p letters.
std::u16string scripts(std::u32string_view letters) {
    return mixed({{EnglishLetters, 30},
                  {GreekLetters, 15},
                  {U"人生自由在上一平等理性心大小山川日月水火木金土", 15},
                  {letters, 25},
                  {Markup, 15}},
                 6, TextUnits);
}

int32_t length(const auto& text) { return static_cast<int32_t>(text.size()); }

void decode(ByteToCharConverter& decoder, Text& text) {
    int32_t consumed = 0;
    int32_t produced = 0;
    decoder.convert(reinterpret_cast<const signed char*>(text.bytes.data()), &consumed,
                    length(text.bytes), text.unitRoom.data(), &produced, length(text.unitRoom));
    require(consumed == length(text.bytes) && produced == length(text.units));
}

int32_t encode(CharToByteConverter& encoder, Text& text) {
    int32_t consumed = 0;
    int32_t produced = 0;
    encoder.convert(text.units.data(), &consumed, length(text.units),
                    reinterpret_cast<signed char*>(text.byteRoom.data()), &produced,
                    length(text.byteRoom));
    require(consumed == length(text.units));
    return produced;
}

void add(const std::string& name, const std::shared_ptr<Text>& text,
         std::function<void(Text&)> body) {
    benchmark::RegisterBenchmark(name.c_str(), [text, body](benchmark::State& state) {
        for (auto _ : state) {
            body(*text);
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(state.iterations() * length(text->bytes));
    });
}

/// One direction of the system's converter.
template <class In, class Out>
std::function<void(const In&, Out&)> systemConverter(const char* to, const char* from) {
    const std::shared_ptr<void> descriptor(iconv_open(to, from), iconv_close);
    return [descriptor](const In& in, Out& out) {
        auto* source = reinterpret_cast<char*>(const_cast<typename In::value_type*>(in.data()));
        auto* target = reinterpret_cast<char*>(out.data());
        size_t size = in.size() * sizeof(typename In::value_type);
        size_t room = out.size() * sizeof(typename Out::value_type);
        require(iconv(descriptor.get(), &source, &size, &target, &room) == 0);
    };
}

void addCodec(const std::string& name, const char* encoding, [[maybe_unused]] const char* icuName,
              std::u16string units) {
    const String wideName(encoding);
    const Reference<ByteToCharConverter> decoder =
        ByteToCharConverter::getConverter(wideName.getData());
    const Reference<CharToByteConverter> encoder =
        CharToByteConverter::getConverter(wideName.getData());
    const auto text = std::make_shared<Text>();
    text->units = std::move(units);
    text->byteRoom.resize(4 * text->units.size());
    const auto size = static_cast<size_t>(encode(*encoder, *text));
    text->bytes = text->byteRoom.substr(0, size);
    text->unitRoom.resize(text->bytes.size() + 16);

    add(name + "Decode/qx", text, [decoder](Text& t) { decode(*decoder, t); });
    const auto read = systemConverter<std::string, std::u16string>("UTF-16LE", encoding);
    add(name + "Decode/iconv", text, [read](Text& t) { read(t.bytes, t.unitRoom); });
    add(name + "Encode/qx", text, [encoder](Text& t) { encode(*encoder, t); });
    const auto write = systemConverter<std::u16string, std::string>(encoding, "UTF-16LE");
    add(name + "Encode/iconv", text, [write](Text& t) { write(t.units, t.byteRoom); });
#ifdef QX_BENCH_HAVE_ICU
    UErrorCode error = U_ZERO_ERROR;
    const std::shared_ptr<UConverter> converter(ucnv_open(icuName, &error), ucnv_close);
    add(name + "Decode/icu", text, [converter](Text& t) {
        UErrorCode failure = U_ZERO_ERROR;
        ucnv_toUChars(converter.get(), t.unitRoom.data(), length(t.unitRoom), t.bytes.data(),
                      length(t.bytes), &failure);
        require(U_SUCCESS(failure));
    });
    add(name + "Encode/icu", text, [converter](Text& t) {
        UErrorCode failure = U_ZERO_ERROR;
        ucnv_fromUChars(converter.get(), t.byteRoom.data(), length(t.byteRoom), t.units.data(),
                        length(t.units), &failure);
        require(U_SUCCESS(failure));
    });
#endif
}

constexpr std::u32string_view CyrillicLetters = U"абвгдежзийклмнопрстуфхцчшщъыьэюяЖШЮЯ";
constexpr std::u32string_view Kana = U"いろはにほへとちりぬるをわかよたれそカタナラムウヰノオク";
constexpr std::u32string_view Traditional =
    U"尊嚴和權利上律平等他們賦有良心並應以兄弟關係的精神相對待";

void addAll() {
    const char* const russian = "Съешь же ещё этих мягких французских булок, да выпей чаю. Широкая "
                                "электрификация южных губерний.\n";
    const char* const japanese = "人人生而自由、色は匂へど散りぬるを我が世誰ぞ常ならむ有為の奥山今"
                                 "日越えて浅き夢見じ酔ひもせず。カタカナ ABC 123.\n";
    const char* const chinese = "人人生而自由,在尊严和权利上一律平等。他们赋有理性和良心,并应以"
                                "兄弟关系的精神相对待。\n";
    const char* const traditional =
        "人人生而自由，在尊嚴和權利上一律平等。他們賦有理性和良心，並應以兄"
        "弟關係的精神相對待。\n";
    const char* const markup = "<div class=\"entry\"><a href=\"/path/to/page.html\">人人生而自由"
                               "</a> <span>1234567890 plain text</span></div>\n";
    const char* const korean =
        "모든 인간은 태어날 때부터 자유로우며 그 존엄과 권리에 있어 동등하다. "
        "人間은 理性과 良心을 부여받았다.\n";
    addCodec("Cp1252", "CP1252", "windows-1252", beyondAscii(U"äöüßéèñçøåÄÖÜÉ€“”–…•šŸ"));
    addCodec("Cp1251", "CP1251", "windows-1251", repeated(russian));
    addCodec("Cp1251Mixed", "CP1251", "windows-1251", beyondAscii(CyrillicLetters));
    addCodec("Koi8R", "KOI8-R", "KOI8-R", repeated(russian));
    addCodec("Koi8RMixed", "KOI8-R", "KOI8-R", beyondAscii(CyrillicLetters));
    addCodec("Ibm1025Mixed", "IBM1025", "ibm-1025", beyondAscii(CyrillicLetters));
    addCodec("Cp932Markup", "CP932", "ibm-943", repeated(markup));
    const struct {
        const char *name, *encoding, *icuName, *prose;
        std::u32string_view letters;
    } rows[] = {
        {"Cp932", "CP932", "ibm-943", japanese, Kana},
        {"ShiftJis", "SHIFT_JIS", "ibm-943", japanese, Kana},
        {"EucJp", "EUCJP", "EUC-JP", japanese, Kana},
        {"Iso2022Jp", "ISO-2022-JP", "ISO-2022-JP", japanese, Kana},
        {"EucKr", "EUC-KR", "EUC-KR", korean,
         U"모든인간은태어날때부터자유로우며그존엄과권리에있어동등하다"},
        {"Cp936", "CP936", "GBK", chinese,
         U"尊严和权利上律平等他们赋有良心并应以兄弟关系的精神相对待"},
        {"Gb18030", "GB18030", "gb18030", chinese,
         U"尊严和权利上律平等他们赋有良心并应以兄弟关系的精神相对待"},
        {"Big5Hkscs", "BIG5-HKSCS", "Big5-HKSCS", traditional, Traditional},
        {"EucTw", "EUC-TW", "EUC-TW", traditional, Traditional},
    };
    for (const auto& row : rows) {
        addCodec(row.name, row.encoding, row.icuName, repeated(row.prose));
        addCodec(std::string(row.name) + "Mixed", row.encoding, row.icuName, scripts(row.letters));
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const BenchRegistry registry;
    const String module(qxtest::safeModule(QX_BENCH_CODECS).c_str());
    require(QXComRegisterModule(module.getData()) >= 0);
    addAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::ClearRegisteredBenchmarks(); // the converters go before the registry does
    return 0;
}
