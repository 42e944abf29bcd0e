#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <qx/io/BitInputStream.h>
#include <qx/io/BitOutputStream.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>

#include "tests/support/FakeStreams.h"
#include "tests/support/PlainBits.h"
#include "tests/support/Play.h"

namespace qxtest {

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
        while (!isOver()) {
            const auto step = next();
            step(*overMemory);
            step(*overSink);
            compare();
        }
    }

private:
    using Step = std::function<void(qx::io::BitOutputStream&)>;

    Step next() {
        switch (const int kind = byte() % 5) {
        case 0: {
            const bool bit = byte() % 2;
            m_model.append(bit, 1);
            return [=](auto& out) { out.writeBit(bit); };
        }
        case 1: {
            const int value = byte();
            m_model.append(static_cast<uint32_t>(value), 8);
            return [=](auto& out) { out.write(static_cast<signed char>(value)); };
        }
        case 2: {
            std::vector<signed char> block(static_cast<size_t>(byte()));
            for (signed char& each : block) {
                each = static_cast<signed char>(byte());
                m_model.append(static_cast<uint8_t>(each), 8);
            }
            return [=](auto& out) { out.write(block.data(), static_cast<int32_t>(block.size())); };
        }
        case 3:
            m_model.pad(8);
            ++m_flushes;
            return [](auto& out) { out.flush(); };
        default: {
            const int bits = byte() % 32 + 1;
            uint32_t value = static_cast<uint32_t>(byte() << 24 | byte() << 16 | byte() << 8);
            value = (value | static_cast<uint32_t>(kind)) >> (32 - bits);
            m_model.append(value, bits);
            return [=](auto& out) { out.write(value, bits); };
        }
        }
    }

    /// The full bytes are written, one by one, and the buffer has grown as by single bytes.
    void compare() {
        const std::string bytes = m_model.units(8).substr(0, m_model.size() / 8);
        for (auto i = static_cast<size_t>(m_single->getSize()); i < bytes.size(); ++i)
            m_single->write(static_cast<signed char>(bytes[i]));
        require(textOf(m_sink->content) == bytes, "bytes in the sink");
        require(m_sink->writes.size() == bytes.size(), "single writes");
        require(m_sink->flushes == m_flushes, "flushes");
        const std::string inMemory(reinterpret_cast<const char*>(m_memory->getBytes()),
                                   static_cast<size_t>(m_memory->getSize()));
        require(inMemory == bytes, "bytes in memory");
        require(m_memory->getCapacity() == m_single->getCapacity(), "capacity");
    }

    PlainBits m_model;
    int m_flushes = 0;
    qx::Reference<qx::io::ByteArrayOutputStream> m_memory;
    qx::Reference<qx::io::ByteArrayOutputStream> m_single;
    qx::Reference<FakeSink<Bytes>> m_sink = qx::makeReference<FakeSink<Bytes>>();
};

/// The plain model of a bit input over a stream, with the operations of both.
class PlainBitInput {
public:
    explicit PlainBitInput(std::string content) : m_content(std::move(content)) {}

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
        const int skipped = std::min(count, static_cast<int>(m_content.size() - m_position));
        m_position += static_cast<size_t>(skipped);
        return skipped;
    }
    int readWrapped() {
        return m_position < m_content.size() ? static_cast<uint8_t>(m_content[m_position++]) : -1;
    }

private:
    int bit() {
        if (m_left == 0) {
            if ((m_byte = readWrapped()) < 0)
                return -1;
            m_left = 8;
        }
        return m_byte >> --m_left & 1;
    }

    std::string m_content;
    size_t m_position = 0;
    int m_byte = 0;
    int m_left = 0;
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
    template <class Input>
    static std::string tell(int kind, int argument, Input& in) {
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
