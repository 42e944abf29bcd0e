#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "tests/support/FakeStreams.h"
#include "tests/support/PlainBits.h"
#include "tests/support/Play.h"

namespace qxtest {

/// The plain model of a bit output over a stream, with the operations of both.
struct PlainBitOutput : PlainBits {
    int flushes = 0;

    void writeBit(bool bit) { append(bit, 1); }
    void write(signed char byte) { append(static_cast<uint8_t>(byte), 8); }
    void write(const signed char* block, int32_t length) {
        std::for_each_n(block, length, [this](signed char byte) { write(byte); });
    }
    void write(uint32_t value, int bits) { append(value, bits); }
    void flush() {
        pad(8);
        ++flushes;
    }
};

/// Plays writes that are read from bytes on bit streams over memory and over another stream, and at
/// the same time on plain bits. Throws std::logic_error when they come apart.
class BitWritePlay : private Play {
public:
    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        const int32_t capacity = byte();
        m_memory = qx::makeReference<qx::io::ByteArrayOutputStream>(capacity);
        m_single = qx::makeReference<qx::io::ByteArrayOutputStream>(capacity);
        const auto overMemory = qx::makeReference<qx::io::BitOutputStream>(m_memory.get());
        const auto overSink = qx::makeReference<qx::io::BitOutputStream>(m_sink.get());
        const auto all = [&](auto operation) {
            operation(m_model);
            operation(*overMemory);
            operation(*overSink);
        };
        while (!isOver()) {
            step(all);
            compare();
        }
    }

private:
    void step(const auto& all) {
        const int kind = byte() % 5, argument = byte();
        std::vector<signed char> block(kind == 2 ? static_cast<size_t>(argument) : 4);
        if (kind == 0)
            return all([&](auto& out) { out.writeBit(argument % 2 != 0); });
        if (kind == 1)
            return all([&](auto& out) { out.write(static_cast<signed char>(argument)); });
        if (kind == 3)
            return all([](auto& out) { out.flush(); });
        for (signed char& each : block)
            each = static_cast<signed char>(byte());
        if (kind == 2)
            return all(
                [&](auto& out) { out.write(block.data(), static_cast<int32_t>(block.size())); });
        uint32_t value = 0;
        std::memcpy(&value, block.data(), sizeof value);
        all([&](auto& out) { out.write(value >> (31 - argument % 32), argument % 32 + 1); });
    }

    /// The full bytes are written, one by one, and the buffer has grown as by single bytes.
    void compare() {
        const std::string bytes = m_model.units(8).substr(0, m_model.size() / 8);
        for (auto i = static_cast<size_t>(m_single->getSize()); i < bytes.size(); ++i)
            m_single->write(static_cast<signed char>(bytes[i]));
        require(textOf(m_sink->content) == bytes, "bytes in the sink");
        require(m_sink->writes.size() == bytes.size(), "single writes");
        require(m_sink->flushes == m_model.flushes, "flushes");
        const std::string inMemory(reinterpret_cast<const char*>(m_memory->getBytes()),
                                   static_cast<size_t>(m_memory->getSize()));
        require(inMemory == bytes, "bytes in memory");
        require(m_memory->getCapacity() == m_single->getCapacity(), "capacity");
    }

    PlainBitOutput m_model;
    qx::Reference<qx::io::ByteArrayOutputStream> m_memory, m_single;
    const qx::Reference<FakeSink<Bytes>> m_sink = qx::makeReference<FakeSink<Bytes>>();
};

/// The plain model of a bit input over a stream, with the operations of both.
struct PlainBitInput {
    explicit PlainBitInput(std::string bytes) : content(std::move(bytes)) {}

    int readBit() { return read(1); }
    int read() { return read(8); }
    int read(int bits) {
        uint32_t value = 0;
        while (bits-- > 0)
            value = value << 1 | static_cast<uint32_t>(bit());
        return static_cast<int>(value);
    }
    int read(char* block, int length) {
        int count = 0;
        for (int byte = 0; count < length && (byte = read()) >= 0; ++count)
            block[count] = static_cast<char>(byte);
        return count > 0 ? count : -1;
    }
    int skip(int count) {
        const int skipped = std::min(count, static_cast<int>(content.size() - position));
        position += static_cast<size_t>(skipped);
        return skipped;
    }
    int readWrapped() {
        return position < content.size() ? static_cast<uint8_t>(content[position++]) : -1;
    }
    int bit() {
        if (left == 0 && (current = readWrapped()) < 0)
            return -1;
        left = (left + 7) % 8;
        return current >> left & 1;
    }

    const std::string content;
    size_t position = 0;
    int current = 0, left = 0; // a byte of which so many bits are not read
};

/// Plays reads, as above; the content comes from the bytes too. Now and then a byte is taken from
/// the wrapped stream itself, which shows that nothing was read ahead.
class BitReadPlay : private Play {
public:
    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        const int length = byte();
        std::string content;
        for (int i = 0; i < length; ++i)
            content.push_back(static_cast<char>(byte()));
        const auto memory = qx::makeReference<qx::io::ByteArrayInputStream>(
            reinterpret_cast<const signed char*>(content.data()), length);
        const auto source = qx::makeReference<FakeSource<Bytes>>(content, 7);
        const auto overMemory = qx::makeReference<qx::io::BitInputStream>(memory.get());
        const auto overSource = qx::makeReference<qx::io::BitInputStream>(source.get());
        PlainBitInput model(content);
        while (!isOver()) {
            const int kind = byte() % 6, argument = byte();
            const auto told = [&](auto& in, auto readWrapped) {
                return kind == 4 ? std::to_string(readWrapped()) : tell(kind, argument, in);
            };
            const std::string expected = told(model, [&] { return model.readWrapped(); });
            require(told(*overMemory, [&] { return memory->read(); }) == expected, "from memory");
            require(told(*overSource, [&] { return source->read(); }) == expected, "from a source");
        }
    }

private:
    /// What an operation says: its result, and the bytes that it read.
    static std::string tell(int kind, int argument, auto& in) {
        if (kind == 2) {
            std::string block(static_cast<size_t>(argument), '\0');
            const int32_t count = in.read(block.data(), argument);
            return std::to_string(count) + block.substr(0, static_cast<size_t>(std::max(count, 0)));
        }
        return std::to_string(kind == 0   ? in.readBit()
                              : kind == 1 ? in.read()
                              : kind == 3 ? in.skip(argument)
                                          : in.read(argument % 32 + 1));
    }
};

} // namespace qxtest
