#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_QT
#include <QString>
#include <QStringList>
#endif

#include <qx/core/String.h>
#include <qx/util/buffer/RWBuffer.h>

// Strings beside those of others, and long searches beside the C library's over the same bytes.
// "Text" of 64 Ki units is prose with a letter outside ASCII in every few hundred.

namespace {

using qx::String;

constexpr size_t TextUnits = 65'536;

std::u16string prose(size_t units) {
    static constexpr std::u16string_view sentence =
        u"The quick brown fox jumps over the lazy dog; pack my box with five dozen liquor jugs. ";
    std::u16string text;
    while (text.size() < units) {
        text.append(sentence);
        if (text.size() % 5 == 0)
            text.append(u"Caf\u00E9 ");
    }
    text.resize(units);
    return text;
}

void setUnits(benchmark::State& state, size_t unitsPerIteration) {
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(unitsPerIteration * sizeof(char16_t)));
}

// Copy and drop: an atomic up and down.

template <class Text>
void copyText(benchmark::State& state, const Text& text) {
    const Text* source = &text;
    benchmark::DoNotOptimize(source);
    for (auto _ : state) {
        Text copy(*source);
        benchmark::DoNotOptimize(copy);
    }
    state.SetItemsProcessed(state.iterations());
}

void copyQx(benchmark::State& state) { copyText(state, String(prose(40))); }
BENCHMARK(copyQx)->Name("StringCopy/qx");

void copyLiteralQx(benchmark::State& state) {
    using namespace qx::literals;
    copyText(state, u"a literal that is read where it is"_qs);
}
BENCHMARK(copyLiteralQx)->Name("StringCopyLiteral/qx");

// Appending to a text of 4096 units, which begins empty and grows.

constexpr size_t AppendedUnits = 4096;

template <class Text, class Append>
void appendUpTo(benchmark::State& state, size_t step, Append append) {
    for (auto _ : state) {
        Text text;
        for (size_t length = 0; length < AppendedUnits; length += step)
            append(text);
        benchmark::DoNotOptimize(text);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(AppendedUnits / step));
}

template <class Text>
void appendUnit(benchmark::State& state) {
    char16_t unit = u'x';
    benchmark::DoNotOptimize(unit);
    appendUpTo<Text>(state, 1, [&](Text& text) { text += unit; });
}
BENCHMARK(appendUnit<String>)->Name("StringAppend1/qx");
BENCHMARK(appendUnit<std::u16string>)->Name("StringAppend1/std");

template <class Text>
void appendEight(benchmark::State& state) {
    const char16_t* units = u"eight un";
    benchmark::DoNotOptimize(units);
    appendUpTo<Text>(state, 8, [&](Text& text) { text.append(units, 8); });
}
BENCHMARK(appendEight<String>)->Name("StringAppend8/qx");
BENCHMARK(appendEight<std::u16string>)->Name("StringAppend8/std");

// The same by a function that is not inlined and thus has the text alone: its length is in the
// object, where the rows above leave it to the compiler to keep a std::u16string in registers.

template <class Text>
[[gnu::noinline]] void addUnit(Text& text, char16_t unit) {
    text += unit;
}
template <class Text>
[[gnu::noinline]] void addEight(Text& text, const char16_t* units) {
    text.append(units, 8);
}
template <class Text>
void appendUnitInCall(benchmark::State& state) {
    appendUpTo<Text>(state, 1, [](Text& text) { addUnit(text, u'x'); });
}
BENCHMARK(appendUnitInCall<String>)->Name("StringAppend1InCall/qx");
BENCHMARK(appendUnitInCall<std::u16string>)->Name("StringAppend1InCall/std");

template <class Text>
void appendEightInCall(benchmark::State& state) {
    const char16_t* units = u"eight un";
    benchmark::DoNotOptimize(units);
    appendUpTo<Text>(state, 8, [=](Text& text) { addEight(text, units); });
}
BENCHMARK(appendEightInCall<String>)->Name("StringAppend8InCall/qx");
BENCHMARK(appendEightInCall<std::u16string>)->Name("StringAppend8InCall/std");

// The same to a text in a buffer, which is held for each unit.

struct BufferText {
    qx::util::RWCharBuffer buffer{u"", 1};
    String text{&buffer, String::AM_SHARE};
};
void appendUnitInBuffer(benchmark::State& state) {
    appendUpTo<BufferText>(state, 1, [](BufferText& text) { text.text += u'x'; });
}
BENCHMARK(appendUnitInBuffer)->Name("StringAppend1InBuffer/qx");

// Equality and search over 64 Ki units.

void equalQx(benchmark::State& state) {
    const String left(prose(TextUnits)), right(prose(TextUnits));
    for (auto _ : state)
        benchmark::DoNotOptimize(left == right);
    setUnits(state, TextUnits);
}
BENCHMARK(equalQx)->Name("StringEqual64Ki/qx");

void compareQx(benchmark::State& state) {
    const String left(prose(TextUnits)), right(prose(TextUnits));
    for (auto _ : state)
        benchmark::DoNotOptimize(left.compare(right));
    setUnits(state, TextUnits);
}
BENCHMARK(compareQx)->Name("StringCompare64Ki/qx");

void equalMemcmp(benchmark::State& state) {
    const std::u16string left = prose(TextUnits), right = prose(TextUnits);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::memcmp(left.data(), right.data(), TextUnits * 2));
    setUnits(state, TextUnits);
}
BENCHMARK(equalMemcmp)->Name("StringEqual64Ki/memcmp");
BENCHMARK(equalMemcmp)->Name("StringCompare64Ki/memcmp");

/// A text that ends with what is searched.
std::u16string haystack(std::u16string_view needle) {
    std::u16string text = prose(TextUnits - needle.size());
    return text.append(needle);
}

constexpr std::u16string_view Needle = u"vexing fox";

void indexOfQx(benchmark::State& state) {
    const String text(haystack(Needle));
    for (auto _ : state)
        benchmark::DoNotOptimize(text.indexOf(Needle));
    setUnits(state, TextUnits);
}
BENCHMARK(indexOfQx)->Name("StringIndexOf64Ki/qx");

void indexOfMemmem(benchmark::State& state) {
    const std::u16string text = haystack(Needle);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            ::memmem(text.data(), text.size() * 2, Needle.data(), Needle.size() * 2));
    setUnits(state, TextUnits);
}
BENCHMARK(indexOfMemmem)->Name("StringIndexOf64Ki/memmem");

// Letter case of mostly ASCII text.

std::u16string upperProse(size_t units) {
    return std::u16string(String(prose(units)).toUpper().view());
}

void compareIgnoringCaseQx(benchmark::State& state) {
    const String left(prose(TextUnits)), right(upperProse(TextUnits));
    for (auto _ : state)
        benchmark::DoNotOptimize(left.compare(right, true));
    setUnits(state, TextUnits);
}
BENCHMARK(compareIgnoringCaseQx)->Name("StringCompareIgnoringCase/qx");

void toUpperQx(benchmark::State& state) {
    const String text(prose(TextUnits));
    for (auto _ : state) {
        String upper(text);
        benchmark::DoNotOptimize(upper.toUpper());
    }
    setUnits(state, TextUnits);
}
BENCHMARK(toUpperQx)->Name("StringToUpper/qx");

// Narrow text of a program that says nothing of its encoding, in UTF-8 as nearly everywhere.

constexpr char Narrow[] = "Caf\xC3\xA9 au lait, to be drunk while it is hot";

template <class Text, class Decode>
void decodeNarrow(benchmark::State& state, Decode decode) {
    const char* bytes = Narrow;
    benchmark::DoNotOptimize(bytes);
    for (auto _ : state) {
        const Text text = decode(bytes);
        benchmark::DoNotOptimize(text);
    }
    state.SetItemsProcessed(state.iterations());
}

void fromNarrowQx(benchmark::State& state) {
    decodeNarrow<String>(state, [](const char* bytes) { return String(bytes); });
}
BENCHMARK(fromNarrowQx)->Name("StringFromNarrow/qx");

// The words of a line.

template <class Text, class Split>
void splitWords(benchmark::State& state, const Text& line, Split split) {
    for (auto _ : state) {
        const auto words = split(line);
        benchmark::DoNotOptimize(words);
    }
    setUnits(state, static_cast<size_t>(line.end() - line.begin()));
}

void splitQx(benchmark::State& state) {
    splitWords(state, String(prose(150)), [](const String& line) { return line.split(u' '); });
}
BENCHMARK(splitQx)->Name("StringSplit/qx");

// Numbers of one to ten digits.

std::vector<int> numbers() {
    std::vector<int> numbers;
    for (int i = 0; i < 1000; ++i)
        numbers.push_back(i * 2'147'483 / (i % 7 + 1) / (i % 5 == 0 ? 10'000 : 1));
    return numbers;
}

template <class Print>
void printNumbers(benchmark::State& state, Print print) {
    const std::vector<int> values = numbers();
    for (auto _ : state) {
        for (const int value : values) {
            auto text = print(value);
            benchmark::DoNotOptimize(text);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(values.size()));
}

void valueOfQx(benchmark::State& state) {
    printNumbers(state, [](int value) { return String::valueOf(value); });
}
BENCHMARK(valueOfQx)->Name("StringValueOfInt/qx");

void formatQx(benchmark::State& state) {
    printNumbers(state, [](int value) { return String::format(u"{0} of {1}", value, 1000); });
}
BENCHMARK(formatQx)->Name("StringFormatInts/qx");

#ifdef QX_BENCH_HAVE_QT

QString qString(const std::u16string& text) {
    return QString::fromUtf16(text.data(), static_cast<int>(text.size()));
}

void copyQt(benchmark::State& state) { copyText(state, qString(prose(40))); }
BENCHMARK(copyQt)->Name("StringCopy/qt");

void compareIgnoringCaseQt(benchmark::State& state) {
    const QString left = qString(prose(TextUnits)), right = qString(upperProse(TextUnits));
    for (auto _ : state)
        benchmark::DoNotOptimize(left.compare(right, Qt::CaseInsensitive));
    setUnits(state, TextUnits);
}
BENCHMARK(compareIgnoringCaseQt)->Name("StringCompareIgnoringCase/qt");

void toUpperQt(benchmark::State& state) {
    const QString text = qString(prose(TextUnits));
    for (auto _ : state)
        benchmark::DoNotOptimize(text.toUpper());
    setUnits(state, TextUnits);
}
BENCHMARK(toUpperQt)->Name("StringToUpper/qt");

void fromNarrowQt(benchmark::State& state) {
    decodeNarrow<QString>(state, [](const char* bytes) { return QString::fromUtf8(bytes); });
}
BENCHMARK(fromNarrowQt)->Name("StringFromNarrow/qt");

void splitQt(benchmark::State& state) {
    splitWords(state, qString(prose(150)),
               [](const QString& line) { return line.split(QLatin1Char(' ')); });
}
BENCHMARK(splitQt)->Name("StringSplit/qt");

void numberQt(benchmark::State& state) {
    printNumbers(state, [](int value) { return QString::number(value); });
}
BENCHMARK(numberQt)->Name("StringValueOfInt/qt");

void formatQt(benchmark::State& state) {
    printNumbers(state, [](int value) { return QStringLiteral(u"%1 of %2").arg(value).arg(1000); });
}
BENCHMARK(formatQt)->Name("StringFormatInts/qt");

#endif

} // namespace

BENCHMARK_MAIN();
