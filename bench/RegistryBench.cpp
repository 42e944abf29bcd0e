// The registry beside the system calls that it cannot do without: the look at a file's status that
// tells that nothing changed, and the write that makes a change durable.

#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/core/String.h>
#include <qx/platform/registry.h>
#include <qx/util/config/RegistryKey.h>

#include "BenchRegistry.h"

using qx::String;
using qx::util::RegistryKey;

namespace {

/// Ten values in each of @p count / 10 keys.
void fill(int count) {
    std::vector<std::u16string> paths, names;
    std::vector<QXRegistryChange> changes;
    for (int i = 0; i < count / 10; ++i)
        paths.push_back(u"Software\\Vendor\\Product " +
                        std::u16string(1, static_cast<char16_t>(0x4E00 + i)));
    for (int i = 0; i < 10; ++i)
        names.push_back(u"Name of value " + std::u16string(1, static_cast<char16_t>(u'0' + i)));
    for (const auto& path : paths)
        for (const auto& name : names)
            changes.push_back({QX_REG_SET_VALUE, QX_REG_STRING, path.c_str(), name.c_str(),
                               u"some text of a value", 42});
    if (QXRegistryApply(QX_HKEY_USER, changes.data(), static_cast<int32_t>(changes.size())) < 0)
        std::abort();
}

constexpr char16_t Path[] = u"software\\vendor\\product \u4E10";
constexpr char16_t Name[] = u"name OF value 7";

void ReadPlatform(benchmark::State& state) {
    const BenchRegistry registry;
    fill(10000);
    for (auto _ : state) {
        char buffer[64];
        int32_t length = sizeof buffer;
        if (QXRegistryGetValue(QX_HKEY_USER, Path, Name, nullptr, buffer, &length) < 0)
            std::abort();
        benchmark::DoNotOptimize(buffer);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ReadPlatform)->Name("ReadValue/qx");

void ReadClass(benchmark::State& state) {
    const BenchRegistry registry;
    fill(10000);
    const RegistryKey key(QX_HKEY_USER, Path);
    const String name(Name);
    for (auto _ : state)
        benchmark::DoNotOptimize(key.getValueString(name));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ReadClass)->Name("ReadString/qx");

void BareStat(benchmark::State& state) {
    const BenchRegistry registry;
    fill(10000);
    const std::string file = registry.file("user.qxreg");
    for (auto _ : state) {
        struct stat status;
        if (stat(file.c_str(), &status) != 0)
            std::abort();
        benchmark::DoNotOptimize(status);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BareStat)->Name("ReadValue/stat");
BENCHMARK(BareStat)->Name("ReadString/stat");

/// From nothing to the first value.
void Start(benchmark::State& state) {
    const BenchRegistry registry;
    fill(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        registry.use();
        int32_t length = 0;
        if (QXRegistryGetValue(QX_HKEY_USER, u"software", u"", nullptr, nullptr, &length) >= 0)
            std::abort(); // the key has no value
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Start)->Name("Start/qx")->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void Write(benchmark::State& state) {
    const BenchRegistry registry;
    fill(100);
    uint32_t number = 0;
    for (auto _ : state) {
        ++number;
        if (QXRegistrySetValue(QX_HKEY_USER, Path, Name, QX_REG_UINT32, &number, 4) < 0)
            std::abort();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Write)->Name("WriteValue/qx")->UseRealTime();

void BareWrite(benchmark::State& state) {
    const BenchRegistry registry;
    fill(100);
    const int file = open(registry.file("bare").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const char record[168] = {}; // as long as the other's
    off_t offset = 0;
    for (auto _ : state) {
        if (pwrite(file, record, sizeof record, offset) != sizeof record || fdatasync(file) != 0)
            std::abort();
        offset += sizeof record;
    }
    state.SetItemsProcessed(state.iterations());
    close(file);
}
BENCHMARK(BareWrite)->Name("WriteValue/pwrite_fdatasync")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
