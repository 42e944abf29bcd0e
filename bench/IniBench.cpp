#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>
#ifdef QX_BENCH_HAVE_GLIB
#include <glib.h>
#endif

#include <qx/core/String.h>
#include <qx/util/config/IniFile.h>

// Loading a file of many keys and looking each of them up, beside GLib's key files; operations of a
// file that did not change beside a bare stat; a change beside bare system calls that make a file
// of the same size durable under its name. Keys are looked up in another order than they stand in.

using qx::String;
using qx::util::IniFile;
using qx::util::IniFileView;

namespace {

struct Name {
    std::string set, key;
    std::u16string wideSet, wideKey;

    Name(const std::string& setName, const std::string& keyName)
        : set(setName), key(keyName), wideSet(set.begin(), set.end()),
          wideKey(key.begin(), key.end()) {}
};

/// A file of keys, with a folder of its own that goes with it.
class Sample {
public:
    Sample(int sets, int keysOfSet) {
        std::string folder = std::filesystem::temp_directory_path() / "qx-ini-bench-XXXXXX";
        if (!::mkdtemp(folder.data()))
            throw std::filesystem::filesystem_error("mkdtemp", {});
        m_path = folder + "/settings.ini";
        std::ofstream file(m_path);
        for (int s = 0; s < sets; ++s) {
            const std::string set = "Server " + std::to_string(s);
            file << '[' << set << "]\n";
            for (int k = 0; k < keysOfSet; ++k) {
                const std::string key = "connection.limit." + std::to_string(k);
                m_names.emplace_back(set, key);
                file << key << " = " << k * 7919 << " seconds\n";
            }
            file << '\n';
        }
        file.close();
        std::shuffle(m_names.begin(), m_names.end(), std::minstd_rand(1));
        // As long ago as the files of a service that starts.
        std::filesystem::last_write_time(m_path, std::filesystem::file_time_type::clock::now() -
                                                     std::chrono::hours(1));
    }
    ~Sample() { std::filesystem::remove_all(std::filesystem::path(m_path).parent_path()); }
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;

    const std::string& path() const { return m_path; }
    String widePath() const { return String::fromUtf8(m_path); }
    const std::vector<Name>& names() const { return m_names; }

private:
    std::string m_path;
    std::vector<Name> m_names;
};

/// Sets and keys of a set are the arguments of the benchmark.
Sample sampleOf(const benchmark::State& state) {
    return Sample(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
}

void countKeys(benchmark::State& state, const Sample& sample) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(sample.names().size()));
}

void load(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    const String path = sample.widePath();
    for (auto _ : state)
        benchmark::DoNotOptimize(IniFile(path.getData()));
    countKeys(state, sample);
}

void lookUp(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    IniFile ini(sample.widePath().getData());
    const IniFileView view = ini.view();
    for (auto _ : state) {
        for (const Name& name : sample.names())
            benchmark::DoNotOptimize(view.find(name.wideSet, name.wideKey));
    }
    countKeys(state, sample);
}

#ifdef QX_BENCH_HAVE_GLIB

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)>;

KeyFile loadKeyFile(const Sample& sample) {
    KeyFile file(g_key_file_new(), &g_key_file_unref);
    if (!g_key_file_load_from_file(file.get(), sample.path().c_str(), G_KEY_FILE_NONE, nullptr))
        std::abort();
    return file;
}

void peerLoad(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(loadKeyFile(sample));
    countKeys(state, sample);
}

void peerLookUp(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    const KeyFile file = loadKeyFile(sample);
    for (auto _ : state) {
        for (const Name& name : sample.names()) {
            gchar* const value =
                g_key_file_get_value(file.get(), name.set.c_str(), name.key.c_str(), nullptr);
            benchmark::DoNotOptimize(value);
            g_free(value);
        }
    }
    countKeys(state, sample);
}

#endif

/// Looks up each key by an operation of its own, which looks at the file too.
void getValue(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    IniFile ini(sample.widePath().getData());
    char16_t value[64];
    for (auto _ : state) {
        for (const Name& name : sample.names())
            benchmark::DoNotOptimize(
                ini.GetValue(name.wideSet.c_str(), name.wideKey.c_str(), value, std::size(value)));
    }
    countKeys(state, sample);
}

void peerStat(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    for (auto _ : state) {
        for (size_t i = 0; i < sample.names().size(); ++i) {
            struct stat status;
            benchmark::DoNotOptimize(::stat(sample.path().c_str(), &status));
        }
    }
    countKeys(state, sample);
}

/// Sets one key after the other.
void addKey(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    IniFile ini(sample.widePath().getData());
    size_t i = 0;
    for (auto _ : state) {
        const Name& name = sample.names()[i++ % sample.names().size()];
        ini.AddKey(name.wideSet.c_str(), name.wideKey.c_str(), u"12345 seconds", true);
        if (ini.getWriteResult() != 0)
            state.SkipWithError("the file was not written");
    }
    state.SetItemsProcessed(state.iterations());
}

void peerWrite(benchmark::State& state) {
    const Sample sample = sampleOf(state);
    const std::string text(std::filesystem::file_size(sample.path()), 'x');
    const std::string aside = sample.path() + ".new";
    const std::string folder = std::filesystem::path(sample.path()).parent_path();
    const int folderFile = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    for (auto _ : state) {
        const int file = ::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const bool isDone = ::write(file, text.data(), text.size()) == std::ssize(text) &&
                            ::fsync(file) == 0 && ::close(file) == 0 &&
                            std::rename(aside.c_str(), sample.path().c_str()) == 0 &&
                            ::fsync(folderFile) == 0;
        if (!isDone)
            state.SkipWithError("the file was not written");
    }
    ::close(folderFile);
    state.SetItemsProcessed(state.iterations());
}

#define QX_LARGE Args({1, 10'000})->Args({100, 100})->Unit(benchmark::kMicrosecond)
#define QX_WRITTEN Args({1, 100})->Args({1, 10'000})->Unit(benchmark::kMicrosecond)->UseRealTime()

BENCHMARK(load)->Name("IniLoad/qx")->QX_LARGE;
BENCHMARK(lookUp)->Name("IniLookUp/qx")->QX_LARGE;
#ifdef QX_BENCH_HAVE_GLIB
BENCHMARK(peerLoad)->Name("IniLoad/glib")->QX_LARGE;
BENCHMARK(peerLookUp)->Name("IniLookUp/glib")->QX_LARGE;
#endif
BENCHMARK(getValue)->Name("IniGetValue/qx")->QX_LARGE;
BENCHMARK(peerStat)->Name("IniGetValue/stat")->QX_LARGE;
BENCHMARK(addKey)->Name("IniAddKey/qx")->QX_WRITTEN;
BENCHMARK(peerWrite)->Name("IniAddKey/bare")->QX_WRITTEN;

} // namespace

BENCHMARK_MAIN();
