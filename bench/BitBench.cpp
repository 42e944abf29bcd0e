// Bit streams over memory beside a straightforward reader and writer with an accumulator of 64
// bits. The peer "accumulator" takes its bytes from the same stream, one by one as a bit stream
// promises to; the peer "memory" has a plain array inlined into the loop and is the bound.

#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <qx/io/BitInputStream.h>
#include <qx/io/BitOutputStream.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>

namespace {

using namespace qx::io;

constexpr int32_t Length = 1 << 20;

/// The widths of the values, in a cycle: mixed ones for the argument 0.
std::vector<int> widths(int64_t argument) {
    if (argument > 0)
        return {static_cast<int>(argument)};
    std::mt19937 random(1);
    std::vector<int> mixed(61);
    for (int& width : mixed)
        width = static_cast<int>(random() % 32 + 1);
    return mixed;
}

const std::vector<signed char>& content() {
    static const auto bytes = [] {
        std::mt19937 random(1);
        std::vector<signed char> made(Length);
        for (signed char& byte : made)
            byte = static_cast<signed char>(random());
        return made;
    }();
    return bytes;
}

/// Where the peers take bytes from and put them.
struct FromStream {
    InputStream* in;
    int next() { return in->read(); }
};
struct FromMemory {
    const signed char* at;
    const signed char* end;
    int next() { return at < end ? static_cast<uint8_t>(*at++) : -1; }
};
struct ToStream {
    OutputStream* out;
    void put(signed char byte) { out->write(byte); }
};
struct ToMemory {
    std::vector<signed char>* out;
    void put(signed char byte) { out->push_back(byte); }
};

template <class From>
class AccumulatorReader {
public:
    explicit AccumulatorReader(From from) : m_from(from) {}
    int read(int bits) {
        while (m_bits < bits) {
            const int byte = m_from.next();
            if (byte < 0)
                return -1;
            m_accumulator = m_accumulator << 8 | static_cast<uint64_t>(byte);
            m_bits += 8;
        }
        m_bits -= bits;
        return static_cast<int>(m_accumulator >> m_bits & ((uint64_t{1} << bits) - 1));
    }
    int32_t read(signed char* to, int32_t length) {
        int32_t count = 0;
        for (int byte; count < length && (byte = read(8)) >= 0;)
            to[count++] = static_cast<signed char>(byte);
        return count;
    }

private:
    From m_from;
    uint64_t m_accumulator = 0;
    int m_bits = 0;
};

template <class To>
class AccumulatorWriter {
public:
    explicit AccumulatorWriter(To to) : m_to(to) {}
    void write(uint32_t value, int bits) {
        m_accumulator = m_accumulator << bits | value;
        for (m_bits += bits; m_bits >= 8;)
            m_to.put(static_cast<signed char>(m_accumulator >> (m_bits -= 8)));
    }
    void write(const signed char* from, int32_t length) {
        for (int32_t i = 0; i < length; ++i)
            write(static_cast<uint8_t>(from[i]), 8);
    }

private:
    To m_to;
    uint64_t m_accumulator = 0;
    int m_bits = 0;
};

/// As many values as @p content() holds, whatever their widths.
template <class Reader>
void readValues(benchmark::State& state, Reader& in) {
    const auto each = widths(state.range(0));
    uint32_t sum = 0;
    size_t at = 0;
    for (int64_t left = int64_t{Length} * 8;; at = at + 1 < each.size() ? at + 1 : 0) {
        if ((left -= each[at]) < 0)
            break;
        sum += static_cast<uint32_t>(in.read(each[at]));
    }
    benchmark::DoNotOptimize(sum);
}

template <class Writer>
void writeValues(benchmark::State& state, Writer& out) {
    const auto each = widths(state.range(0));
    uint32_t value = 1;
    size_t at = 0;
    for (int64_t left = int64_t{Length} * 8;; at = at + 1 < each.size() ? at + 1 : 0) {
        if ((left -= each[at]) < 0)
            break;
        value = value * 1664525 + 1013904223;
        out.write(value >> (32 - each[at]), each[at]);
    }
}

/// Blocks of 4096 bytes, which begin amid a byte.
template <class Reader>
void readBlocks(benchmark::State&, Reader& in) {
    signed char block[4096];
    benchmark::DoNotOptimize(in.read(3));
    while (in.read(block, sizeof block) == sizeof block)
        benchmark::DoNotOptimize(block);
}

template <class Writer>
void writeBlocks(benchmark::State&, Writer& out) {
    out.write(5u, 3);
    for (int32_t at = 0; at < Length; at += 4096)
        out.write(content().data() + at, 4096);
}

/// Measures @p body with a reader that @p make makes from a fresh stream over memory.
template <class Make, class Body>
void reading(benchmark::State& state, Make make, Body body) {
    for (auto _ : state) {
        const auto memory = qx::makeReference<ByteArrayInputStream>(content().data(), Length);
        auto reader = make(memory.get());
        body(state, reader);
    }
    state.SetBytesProcessed(state.iterations() * Length);
}

template <class Make, class Body>
void writing(benchmark::State& state, Make make, Body body) {
    const auto memory = qx::makeReference<ByteArrayOutputStream>(Length + 16);
    for (auto _ : state) {
        memory->reset();
        auto writer = make(memory.get());
        body(state, writer);
        benchmark::DoNotOptimize(memory->getBytes());
    }
    state.SetBytesProcessed(state.iterations() * Length);
}

// Named objects of their very class, so that calls are direct for all.
auto bitReader(InputStream* in) { return BitInputStream(in); }
auto bufferedBitReader(InputStream* in) { return BitInputStream(new BufferedInputStream(in)); }
auto streamReader(InputStream* in) { return AccumulatorReader(FromStream{in}); }
auto memoryReader(InputStream*) {
    return AccumulatorReader(FromMemory{content().data(), content().data() + Length});
}
auto bitWriter(OutputStream* out) { return BitOutputStream(out); }
auto streamWriter(OutputStream* out) { return AccumulatorWriter(ToStream{out}); }
auto memoryWriter(OutputStream*) {
    static std::vector<signed char> bytes;
    bytes.clear();
    bytes.reserve(Length + 16);
    return AccumulatorWriter(ToMemory{&bytes});
}

#define ROWS(Case, direction, body, make, who)                                                     \
    BENCHMARK_CAPTURE(direction, who, make, [](auto& state, auto& stream) {                        \
        body(state, stream);                                                                       \
    })->Name(Case "/" #who)

#define VALUE_ROWS(Case, direction, body, make, who)                                               \
    ROWS(Case, direction, body, make, who)->Arg(1)->Arg(5)->Arg(13)->Arg(32)->Arg(0)

VALUE_ROWS("BitRead", reading, readValues, bitReader, qx);
VALUE_ROWS("BitRead", reading, readValues, streamReader, accumulator);
VALUE_ROWS("BitRead", reading, readValues, memoryReader, memory);
VALUE_ROWS("BitReadBuffered", reading, readValues, bufferedBitReader, qx);
VALUE_ROWS("BitWrite", writing, writeValues, bitWriter, qx);
VALUE_ROWS("BitWrite", writing, writeValues, streamWriter, accumulator);
VALUE_ROWS("BitWrite", writing, writeValues, memoryWriter, memory);
ROWS("BitReadBlock", reading, readBlocks, bitReader, qx);
ROWS("BitReadBlock", reading, readBlocks, streamReader, accumulator);
ROWS("BitReadBlock", reading, readBlocks, memoryReader, memory);
ROWS("BitWriteBlock", writing, writeBlocks, bitWriter, qx);
ROWS("BitWriteBlock", writing, writeBlocks, streamWriter, accumulator);
ROWS("BitWriteBlock", writing, writeBlocks, memoryWriter, memory);

} // namespace

BENCHMARK_MAIN();
