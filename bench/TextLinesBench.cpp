// Streams against their peers on 50 MiB of UTF-8 lines: lines as UTF-16, single bytes, printing,
// opening.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>

#include <benchmark/benchmark.h>

#include <qx/core/String.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/PrintWriter.h>

#ifdef QX_BENCH_HAVE_ICU
#include <unicode/ustring.h>
#endif
#ifdef QX_BENCH_HAVE_QT
#include <QString>
#endif

namespace {

constexpr size_t FileSize = 50 << 20;

/// A file of lines of 0 to 120 characters, one character in twelve outside ASCII; removed at exit.
class LinesFile {
public:
    LinesFile()
        : m_path(std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") +
                 "/qx-text-lines-bench") {
        std::mt19937 random(1);
        const char* const others[] = {"\xC3\xA9", "\xC3\xBC", "\xD0\x96", "\xE2\x82\xAC"};
        std::string text;
        text.reserve(FileSize + 1000);
        while (text.size() < FileSize) {
            for (auto length = random() % 121; length > 0; --length) {
                if (random() % 12 == 0)
                    text += others[random() % 4];
                else
                    text += static_cast<char>(' ' + random() % 95);
            }
            text += '\n';
        }
        std::ofstream(m_path, std::ios::binary) << text;
        m_size = static_cast<int64_t>(text.size());
    }
    ~LinesFile() { std::remove(m_path.c_str()); }

    const std::string& path() const { return m_path; }
    qx::String name() const { return qx::String::fromUtf8(m_path); }
    int64_t size() const { return m_size; }

private:
    std::string m_path;
    int64_t m_size = 0;
};

/// Made before the first benchmark runs.
const LinesFile& linesFile() {
    static const LinesFile file;
    return file;
}

void report(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * linesFile().size());
}

void LinesBufferedReader(benchmark::State& state) {
    for (auto _ : state) {
        const auto in = qx::makeReference<qx::io::FileInputStream>(linesFile().name());
        const auto decoder = qx::makeReference<qx::io::InputStreamReader>(in, u"UTF-8");
        const auto reader = qx::makeReference<qx::io::BufferedReader>(decoder);
        qx::String line;
        int64_t units = 0;
        while (reader->readLine(line) >= 0)
            units += line.getLength();
        benchmark::DoNotOptimize(units);
    }
    report(state);
}

/// Reads the lines with std::getline and hands each to @p convert, which returns its units.
template <class Convert>
void linesGetline(benchmark::State& state, Convert&& convert) {
    for (auto _ : state) {
        std::ifstream in(linesFile().path(), std::ios::binary);
        std::string line;
        int64_t units = 0;
        while (std::getline(in, line))
            units += convert(line);
        benchmark::DoNotOptimize(units);
    }
    report(state);
}

void LinesGetlinePlainLoop(benchmark::State& state) {
    std::u16string text;
    linesGetline(state, [&text](const std::string& line) {
        text.clear();
        for (size_t i = 0; i < line.size();) {
            const auto byte = [&](size_t at) {
                return static_cast<uint32_t>(static_cast<unsigned char>(line[i + at]));
            };
            if (byte(0) < 0x80) {
                text += static_cast<char16_t>(byte(0));
                i += 1;
            } else if (byte(0) < 0xE0) {
                text += static_cast<char16_t>((byte(0) & 0x1F) << 6 | (byte(1) & 0x3F));
                i += 2;
            } else {
                text += static_cast<char16_t>((byte(0) & 0x0F) << 12 | (byte(1) & 0x3F) << 6 |
                                              (byte(2) & 0x3F));
                i += 3;
            }
        }
        return static_cast<int64_t>(text.size());
    });
}

#ifdef QX_BENCH_HAVE_ICU
void LinesGetlineIcu(benchmark::State& state) {
    std::u16string text(4096, u'\0');
    linesGetline(state, [&text](const std::string& line) {
        int32_t length = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8(text.data(), static_cast<int32_t>(text.size()), &length, line.data(),
                      static_cast<int32_t>(line.size()), &status);
        return int64_t{length};
    });
}
#endif

#ifdef QX_BENCH_HAVE_QT
void LinesGetlineQt(benchmark::State& state) {
    linesGetline(state, [](const std::string& line) {
        return int64_t{QString::fromUtf8(line.data(), static_cast<int>(line.size())).size()};
    });
}
#endif

void BytesBufferedInputStream(benchmark::State& state) {
    for (auto _ : state) {
        qx::io::FileInputStream file(linesFile().name());
        qx::io::BufferedInputStream in(&file);
        int64_t sum = 0;
        for (int byte; (byte = in.read()) >= 0;)
            sum += byte;
        benchmark::DoNotOptimize(sum);
    }
    report(state);
}

/// As most callers see it: through the base class.
template <int (qx::io::InputStream::*Read)()>
void BytesThroughBase(benchmark::State& state) {
    for (auto _ : state) {
        const auto file = qx::makeReference<qx::io::FileInputStream>(linesFile().name());
        const qx::Reference<qx::io::InputStream> in(new qx::io::BufferedInputStream(file));
        benchmark::DoNotOptimize(in.get());
        int64_t sum = 0;
        for (int byte; (byte = (in.get()->*Read)()) >= 0;)
            sum += byte;
        benchmark::DoNotOptimize(sum);
    }
    report(state);
}

void BytesStreambuf(benchmark::State& state) {
    for (auto _ : state) {
        std::filebuf in;
        in.open(linesFile().path(), std::ios::in | std::ios::binary);
        int64_t sum = 0;
        for (int byte; (byte = in.sbumpc()) != std::char_traits<char>::eof();)
            sum += byte;
        benchmark::DoNotOptimize(sum);
    }
    report(state);
}

void OpenFileInputStream(benchmark::State& state) {
    const qx::String name = linesFile().name();
    for (auto _ : state) {
        qx::io::FileInputStream file(name);
        benchmark::DoNotOptimize(file.getHandle());
    }
}

void OpenFopen(benchmark::State& state) {
    for (auto _ : state) {
        std::FILE* const file = std::fopen(linesFile().path().c_str(), "re");
        benchmark::DoNotOptimize(file);
        std::fclose(file);
    }
}

/// Lines of an integer, a short text and a floating-point number, to a file that discards them.
constexpr int PrintedLines = 100'000;

void PrintPrintWriter(benchmark::State& state) {
    for (auto _ : state) {
        qx::io::FileOutputStream file(qx::String(u"/dev/null"), 0u);
        qx::io::OutputStreamWriter encoder(&file, u"UTF-8");
        qx::io::BufferedWriter buffered(&encoder);
        qx::io::PrintWriter out(&buffered);
        for (int line = 0; line < PrintedLines; ++line) {
            out.print(line * 7919);
            out.print(u" some text ");
            out.println(line * 0.25);
        }
        out.flush();
    }
    state.SetItemsProcessed(state.iterations() * PrintedLines);
}

void PrintOstream(benchmark::State& state) {
    for (auto _ : state) {
        std::ofstream out("/dev/null");
        for (int line = 0; line < PrintedLines; ++line)
            out << line * 7919 << " some text " << line * 0.25 << '\n';
        out.flush();
    }
    state.SetItemsProcessed(state.iterations() * PrintedLines);
}

BENCHMARK(LinesBufferedReader)->Name("TextLines/qx");
BENCHMARK(LinesGetlinePlainLoop)->Name("TextLines/getline_loop");
#ifdef QX_BENCH_HAVE_ICU
BENCHMARK(LinesGetlineIcu)->Name("TextLines/getline_icu");
#endif
#ifdef QX_BENCH_HAVE_QT
BENCHMARK(LinesGetlineQt)->Name("TextLines/getline_qt");
#endif
BENCHMARK(BytesBufferedInputStream)->Name("ReadByte/qx");
BENCHMARK(BytesStreambuf)->Name("ReadByte/streambuf");
BENCHMARK(BytesThroughBase<&qx::io::InputStream::read>)->Name("ReadByteThroughBase/qx");
BENCHMARK(BytesStreambuf)->Name("ReadByteThroughBase/streambuf");
BENCHMARK(BytesThroughBase<&qx::io::InputStream::next>)->Name("NextByteThroughBase/qx");
BENCHMARK(BytesStreambuf)->Name("NextByteThroughBase/streambuf");
BENCHMARK(OpenFileInputStream)->Name("OpenFile/qx");
BENCHMARK(OpenFopen)->Name("OpenFile/fopen");
BENCHMARK(PrintPrintWriter)->Name("Print/qx");
BENCHMARK(PrintOstream)->Name("Print/ostream");

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    linesFile();
    benchmark::RunSpecifiedBenchmarks();
}
