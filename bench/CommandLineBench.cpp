// Taking apart lines of a million units: options with their values and parameters. Beside it, what
// only cuts a line into words: GLib's shell parser, with quotes but over bytes, and a plain loop
// over the standard string, without quotes. "Letters" is the worst case, an element for every two
// units; "Options" are all different and each takes a value.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_GLIB
#include <glib.h>
#endif

#include <qx/util/config/CommandLineParser.h>

namespace {

constexpr size_t Units = 1 << 20;

/// A line of @p Units units made of what @p part (number) gives.
template <class Part>
std::string makeLine(Part&& part) {
    std::string line = "program ";
    for (int number = 0; line.size() < Units; ++number)
        line += part(number);
    return line;
}

const std::string& letters() {
    static const std::string line = makeLine([](int) { return "a "; });
    return line;
}

const std::string& words() {
    static const std::string line = makeLine([](int) { return "parameter \"in quotes\" "; });
    return line;
}

const std::string& options() {
    static const std::string line =
        makeLine([](int number) { return "--option" + std::to_string(number) + "=value "; });
    return line;
}

void setRate(benchmark::State& state, const std::string& line) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(line.size()));
}

void parseQx(benchmark::State& state, const std::string& line) {
    const qx::String text = qx::String::fromUtf8(line);
    for (auto _ : state) {
        qx::util::CommandLineParser parser;
        parser.parse(text);
        benchmark::DoNotOptimize(parser.getElementCount());
    }
    setRate(state, line);
}

void splitStd(benchmark::State& state, const std::string& line) {
    const std::u16string text(line.begin(), line.end());
    for (auto _ : state) {
        std::vector<std::u16string> tokens;
        for (size_t end, at = 0; (at = text.find_first_not_of(u' ', at)) < text.size(); at = end) {
            end = std::min(text.find(u' ', at), text.size());
            tokens.emplace_back(text, at, end - at);
        }
        benchmark::DoNotOptimize(tokens.data());
    }
    setRate(state, line);
}

#ifdef QX_BENCH_HAVE_GLIB
void splitGlib(benchmark::State& state, const std::string& line) {
    for (auto _ : state) {
        int count = 0;
        char** arguments = nullptr;
        g_shell_parse_argv(line.c_str(), &count, &arguments, nullptr);
        benchmark::DoNotOptimize(count);
        g_strfreev(arguments);
    }
    setRate(state, line);
}
#endif

void addRows(const std::string& name, const std::string& (*line)()) {
    using namespace benchmark;
    RegisterBenchmark((name + "/qx").c_str(), [line](State& state) { parseQx(state, line()); });
    RegisterBenchmark((name + "/std").c_str(), [line](State& state) { splitStd(state, line()); });
#ifdef QX_BENCH_HAVE_GLIB
    RegisterBenchmark((name + "/glib").c_str(), [line](State& state) { splitGlib(state, line()); });
#endif
}

} // namespace

int main(int argc, char** argv) {
    addRows("Letters", letters);
    addRows("Words", words);
    addRows("Options", options);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
