#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_BOOST
#include <boost/endian/conversion.hpp>
#endif
#ifdef QX_BENCH_HAVE_QT
#include <QByteArray>
#include <QDataStream>
#endif

#include <qx/io/BufferedOutputStream.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/ByteBufferInputStream.h>
#include <qx/io/DataInputStream.h>
#include <qx/io/DataOutputStream.h>
#include <qx/io/NullOutputStream.h>

// Values in big-endian order, in and out of memory: byte buffers and data streams beside a loop of
// memcpy and byte swap, which the compiler may vectorise as far as this program's options let it.
// "Wide" is that loop compiled for AVX2, the most that bulk forms could reach.

namespace {

using qx::io::ByteBuffer;

// 4 Ki fits the first cache, 64 Ki the second.
constexpr int64_t Few = 1024, Many = 16'384;

void setValues(benchmark::State& state, size_t width) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * state.range(0) * static_cast<int64_t>(width));
}

template <class Value>
std::vector<Value> numbers(const benchmark::State& state) {
    std::vector<Value> values(static_cast<size_t>(state.range(0)));
    std::iota(values.begin(), values.end(), Value(-100));
    return values;
}

uint16_t swapped(uint16_t word) { return __builtin_bswap16(word); }
uint32_t swapped(uint32_t word) { return __builtin_bswap32(word); }
uint64_t swapped(uint64_t word) { return __builtin_bswap64(word); }

template <class Value>
[[gnu::always_inline]] inline void copyAndSwap(void* to, const void* from, size_t count) {
    using Word = std::make_unsigned_t<Value>;
    auto* const target = static_cast<char*>(to);
    const auto* const source = static_cast<const char*>(from);
    for (size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, source + i * sizeof(word), sizeof(word));
        word = swapped(word);
        std::memcpy(target + i * sizeof(word), &word, sizeof(word));
    }
}

// Out of line, as a caller with an unknown length would have it.
template <class Value>
[[gnu::noinline]] void copyLoop(void* to, const void* from, size_t count) {
    copyAndSwap<Value>(to, from, count);
}

template <class Value>
void bulkMemcpy(benchmark::State& state) {
    const auto values = numbers<Value>(state);
    std::vector<Value> to(values.size());
    for (auto _ : state) {
        copyLoop<Value>(to.data(), values.data(), values.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(Value));
}

#if defined(__x86_64__)
template <class Value>
[[gnu::noinline, gnu::target("avx2")]] void copyLoopWide(void* to, const void* from, size_t count) {
    copyAndSwap<Value>(to, from, count);
}

template <class Value>
void bulkWide(benchmark::State& state) {
    const auto values = numbers<Value>(state);
    std::vector<Value> to(values.size());
    for (auto _ : state) {
        copyLoopWide<Value>(to.data(), values.data(), values.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(Value));
}
#endif

// In bulk.

template <class Value>
ByteBuffer bufferFor(const benchmark::State& state) {
    return ByteBuffer(static_cast<unsigned int>(state.range(0)) * sizeof(Value), QX_ENDIAN_BIG);
}

template <class Value>
void bulkPut(benchmark::State& state) {
    const auto values = numbers<Value>(state);
    auto buffer = bufferFor<Value>(state);
    for (auto _ : state) {
        buffer.clear();
        buffer.putValues(values.data(), static_cast<unsigned int>(values.size()));
        benchmark::DoNotOptimize(buffer.getBuffer());
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(Value));
}

template <class Value>
void bulkGet(benchmark::State& state) {
    auto to = numbers<Value>(state);
    auto buffer = bufferFor<Value>(state);
    buffer.putValues(to.data(), static_cast<unsigned int>(to.size()));
    for (auto _ : state) {
        buffer.rewind();
        buffer.getValues(to.data(), static_cast<unsigned int>(to.size()));
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(Value));
}

template <class Value>
void bulkWriteToMemory(benchmark::State& state) {
    const auto values = numbers<Value>(state);
    qx::io::ByteArrayOutputStream memory;
    qx::io::DataOutputStream out(&memory);
    for (auto _ : state) {
        memory.reset();
        out.writeValues(values.data(), static_cast<int32_t>(values.size()));
        benchmark::DoNotOptimize(memory.getBytes());
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(Value));
}

template <class Value>
void bulkReadFromMemory(benchmark::State& state) {
    auto to = numbers<Value>(state);
    auto buffer = bufferFor<Value>(state);
    qx::io::ByteBufferInputStream memory(&buffer);
    qx::io::DataInputStream in(&memory);
    buffer.putValues(to.data(), static_cast<unsigned int>(to.size()));
    for (auto _ : state) {
        buffer.rewind();
        in.readValues(to.data(), static_cast<int32_t>(to.size()));
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(Value));
}

#if defined(__x86_64__)
#define QX_WIDE(Value, name, lengths) BENCHMARK(bulkWide<Value>)->Name(name "/wide")->lengths
#else
#define QX_WIDE(Value, name, lengths) static_assert(true)
#endif
#define QX_BULK(function, Value, name, lengths)                                                    \
    BENCHMARK(function<Value>)->Name(name "/qx")->lengths;                                         \
    BENCHMARK(bulkMemcpy<Value>)->Name(name "/memcpy")->lengths;                                   \
    QX_WIDE(Value, name, lengths)

QX_BULK(bulkPut, int16_t, "BufferPut16", Arg(Few));
QX_BULK(bulkPut, int32_t, "BufferPut32", Arg(Few)->Arg(Many));
QX_BULK(bulkPut, int64_t, "BufferPut64", Arg(Few));
QX_BULK(bulkGet, int16_t, "BufferGet16", Arg(Few));
QX_BULK(bulkGet, int32_t, "BufferGet32", Arg(Few)->Arg(Many));
QX_BULK(bulkGet, int64_t, "BufferGet64", Arg(Few));
QX_BULK(bulkWriteToMemory, int32_t, "DataWrite32", Arg(Few)->Arg(Many));
QX_BULK(bulkReadFromMemory, int32_t, "DataRead32", Arg(Few)->Arg(Many));

// One by one: a sum over values that are read, and values that are written. Each passes through a
// register, so that no loop becomes one over vectors.

template <class T>
[[gnu::always_inline]] inline T single(T value) {
    asm volatile("" : "+r"(value));
    return value;
}

void oneByOneMemcpyRead(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    const auto* const bytes = reinterpret_cast<const char*>(values.data());
    for (auto _ : state) {
        int64_t sum = 0;
        for (size_t i = 0; i < values.size(); ++i) {
            uint32_t word;
            std::memcpy(&word, bytes + i * sizeof(word), sizeof(word));
            sum += single(static_cast<int32_t>(swapped(word)));
        }
        benchmark::DoNotOptimize(sum);
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOneMemcpyRead)->Name("BufferGetOne32/memcpy")->Arg(Few);
BENCHMARK(oneByOneMemcpyRead)->Name("DataReadOne32/memcpy")->Arg(Few);

#ifdef QX_BENCH_HAVE_BOOST
void oneByOneBoostRead(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(values.data());
    for (auto _ : state) {
        int64_t sum = 0;
        for (size_t i = 0; i < values.size(); ++i)
            sum += single(boost::endian::load_big_s32(bytes + i * sizeof(int32_t)));
        benchmark::DoNotOptimize(sum);
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOneBoostRead)->Name("BufferGetOne32/boost")->Arg(Few);
#endif

void oneByOneGet(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    auto buffer = bufferFor<int32_t>(state);
    buffer.putValues(values.data(), static_cast<unsigned int>(values.size()));
    for (auto _ : state) {
        int64_t sum = 0;
        buffer.rewind();
        while (buffer.remaining() != 0)
            sum += single(buffer.getInt32());
        benchmark::DoNotOptimize(sum);
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOneGet)->Name("BufferGetOne32/qx")->Arg(Few);

void oneByOneReadFromMemory(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    auto buffer = bufferFor<int32_t>(state);
    buffer.putValues(values.data(), static_cast<unsigned int>(values.size()));
    qx::io::ByteBufferInputStream memory(&buffer);
    qx::io::DataInputStream in(&memory);
    for (auto _ : state) {
        int64_t sum = 0;
        buffer.rewind();
        for (int64_t i = 0; i < state.range(0); ++i)
            sum += single(in.readInt32());
        benchmark::DoNotOptimize(sum);
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOneReadFromMemory)->Name("DataReadOne32/qx")->Arg(Few);

void oneByOneMemcpyWrite(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    std::vector<char> to(values.size() * sizeof(int32_t));
    for (auto _ : state) {
        for (size_t i = 0; i < values.size(); ++i) {
            const uint32_t word = swapped(static_cast<uint32_t>(single(values[i])));
            std::memcpy(to.data() + i * sizeof(word), &word, sizeof(word));
        }
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOneMemcpyWrite)->Name("BufferPutOne32/memcpy")->Arg(Few);
BENCHMARK(oneByOneMemcpyWrite)->Name("DataWriteOne32/memcpy")->Arg(Few);
BENCHMARK(oneByOneMemcpyWrite)->Name("DataWriteOne32ByBytes/memcpy")->Arg(Few);

void oneByOnePut(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    auto buffer = bufferFor<int32_t>(state);
    for (auto _ : state) {
        buffer.clear();
        for (const int32_t value : values)
            buffer.putInt32(single(value));
        benchmark::ClobberMemory();
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOnePut)->Name("BufferPutOne32/qx")->Arg(Few);

template <class Sink>
void oneByOneWrite(benchmark::State& state, Sink& sink) {
    const auto values = numbers<int32_t>(state);
    qx::io::DataOutputStream out(&sink);
    for (auto _ : state) {
        for (const int32_t value : values)
            out.writeInt32(single(value));
        out.flush();
    }
    setValues(state, sizeof(int32_t));
}

void oneByOneWriteBuffered(benchmark::State& state) {
    qx::io::NullOutputStream null;
    qx::io::BufferedOutputStream buffered(&null);
    oneByOneWrite(state, buffered);
}
BENCHMARK(oneByOneWriteBuffered)->Name("DataWriteOne32/qx")->Arg(Few);

/// A stream that is reached byte by byte, as any stream of a user is.
void oneByOneWriteBytes(benchmark::State& state) {
    qx::io::NullOutputStream null;
    class Own : public qx::io::BufferedOutputStream {
    public:
        using BufferedOutputStream::BufferedOutputStream;
    } own(&null);
    oneByOneWrite(state, own);
}
BENCHMARK(oneByOneWriteBytes)->Name("DataWriteOne32ByBytes/qx")->Arg(Few);

#ifdef QX_BENCH_HAVE_QT

void oneByOneReadQt(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    const QByteArray bytes(reinterpret_cast<const char*>(values.data()),
                           static_cast<int>(values.size() * sizeof(int32_t)));
    QDataStream in(bytes);
    for (auto _ : state) {
        int64_t sum = 0;
        in.device()->seek(0);
        for (int64_t i = 0; i < state.range(0); ++i) {
            qint32 value;
            in >> value;
            sum += single(value);
        }
        benchmark::DoNotOptimize(sum);
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOneReadQt)->Name("DataReadOne32/qt")->Arg(Few);

void oneByOneWriteQt(benchmark::State& state) {
    const auto values = numbers<int32_t>(state);
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    for (auto _ : state) {
        out.device()->seek(0);
        for (const int32_t value : values)
            out << qint32{single(value)};
    }
    setValues(state, sizeof(int32_t));
}
BENCHMARK(oneByOneWriteQt)->Name("DataWriteOne32/qt")->Arg(Few);

#endif

} // namespace

BENCHMARK_MAIN();
