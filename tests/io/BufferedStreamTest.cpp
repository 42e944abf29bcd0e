#include <random>

// The wide scan has no public name and is compared with a plain one here.
#include <qx/io/detail/LineEnd.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::io::BufferedReader;

namespace {

/// Text of units that are all different over a long way, whose upper half is negative as a byte.
std::string distinctText(int length) {
    std::string text;
    for (int i = 0; i < length; ++i)
        text.push_back(static_cast<char>(i * 7));
    return text;
}

template <class Twin>
class BufferedStream : public testing::Test {};
using Twins = testing::Types<Bytes, Chars>;
TYPED_TEST_SUITE(BufferedStream, Twins);

/// Up to @p length units as text; "end" for -1.
template <class Unit, class Source>
std::string readText(Source& source, int32_t length) {
    Units<Unit> units(static_cast<size_t>(length));
    const int32_t count = source.read(units.data(), length);
    units.resize(static_cast<size_t>(std::max(count, 0)));
    return count < 0 ? "end" : textOf(units);
}

/// The buffer by its rules, without any short way.
template <class Twin>
class PlainBuffer {
public:
    PlainBuffer(FakeSource<Twin>& source, int32_t size)
        : m_source(source), m_size(std::max(size, 16)) {}

    /// Up to @p length units as text; "end" for -1.
    std::string read(int32_t length) {
        std::string delivered;
        while (static_cast<int32_t>(delivered.size()) < length) {
            const auto wanted = length - static_cast<int32_t>(delivered.size());
            if (isExhausted() && !delivered.empty() && m_source.available() == 0)
                break;
            if (isExhausted() && wanted >= m_size && m_mark < 0) {
                delivered += fetch(wanted);
                break;
            }
            if (isExhausted() && !fill())
                break;
            const std::string taken = m_buffer.substr(m_position, static_cast<size_t>(wanted));
            m_position += taken.size();
            delivered += taken;
        }
        return delivered.empty() ? "end" : delivered;
    }
    int32_t skip(int32_t count) {
        int32_t skipped = 0;
        for (; skipped < count && (!isExhausted() || fill()); ++skipped)
            ++m_position;
        return skipped;
    }
    int32_t available() {
        return m_source.available() + static_cast<int32_t>(m_buffer.size() - m_position);
    }
    void mark(int32_t limit) {
        m_limit = limit;
        m_mark = static_cast<int32_t>(m_position);
    }
    std::string reset() {
        if (m_mark < 0)
            return m_mark == -1 ? "stream not marked" : "mark invalid";
        m_position = static_cast<size_t>(m_mark);
        return "nothing thrown";
    }

private:
    bool isExhausted() const { return m_position == m_buffer.size(); }
    std::string fetch(int32_t length) {
        const std::string text = readText<typename Twin::Unit>(m_source, length);
        return text == "end" ? "" : text;
    }
    bool fill() {
        const int32_t marked = static_cast<int32_t>(m_position) - m_mark;
        std::string kept;
        if (m_mark >= 0 && marked < m_limit) {
            m_buffer = kept = m_buffer.substr(static_cast<size_t>(m_mark));
            m_size = std::max(m_size, m_limit);
            m_mark = 0;
            m_position = kept.size();
        } else if (m_mark >= 0) {
            m_mark = -2;
        }
        const std::string fetched = fetch(m_size - static_cast<int32_t>(kept.size()));
        if (fetched.empty())
            return false;
        m_buffer = kept + fetched;
        m_position = kept.size();
        return true;
    }

    FakeSource<Twin>& m_source;
    int32_t m_size, m_limit = 0, m_mark = -1;
    std::string m_buffer;
    size_t m_position = 0;
};

TYPED_TEST(BufferedStream, SourceFollowsAPlainBufferDownToTheReadsOfItsSource) {
    using Unit = typename TypeParam::Unit;
    std::mt19937 random(20240501);
    const auto upTo = [&random](int32_t limit) {
        return std::uniform_int_distribution<int32_t>(0, limit)(random);
    };
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE(round);
        const std::string content = distinctText(upTo(400));
        const int32_t portion = upTo(3) == 0 ? 1000 : 1 + upTo(40), size = upTo(60);
        FakeSource<TypeParam> source(content, portion), plainSource(content, portion);
        source.availableNow = plainSource.availableNow = upTo(1);
        typename TypeParam::BufferedSource buffered(&source, size);
        PlainBuffer<TypeParam> plain(plainSource, size);
        for (int step = 0; step < 40; ++step) {
            const int32_t length = upTo(3) == 0 ? size + upTo(2) : 1 + upTo(70);
            switch (upTo(5)) {
            case 0: {
                const std::string unit = plain.read(1);
                ASSERT_EQ(buffered.read(),
                          unit == "end" ? -1 : static_cast<std::make_unsigned_t<Unit>>(unit[0]));
                break;
            }
            case 1:
                ASSERT_EQ(readText<Unit>(buffered, std::max(length, 1)),
                          plain.read(std::max(length, 1)));
                break;
            case 2:
                ASSERT_EQ(buffered.skip(length), plain.skip(length));
                break;
            case 3:
                buffered.mark(length - 2);
                plain.mark(length - 2);
                break;
            case 4:
                ASSERT_EQ(descriptionOf([&] { buffered.reset(); }), plain.reset());
                break;
            default:
                ASSERT_EQ(buffered.available(), plain.available());
            }
            ASSERT_EQ(source.requests, plainSource.requests);
        }
    }
}

TYPED_TEST(BufferedStream, SinkWritesInTheDocumentedPortions) {
    using Unit = typename TypeParam::Unit;
    std::mt19937 random(7);
    for (int round = 0; round < 400; ++round) {
        FakeSink<TypeParam> sink;
        const auto units = unitsOf<Unit>(distinctText(50 * 60));
        auto next = units.begin();
        const auto size = static_cast<int32_t>(random() % 50), capacity = std::max(size, 16);
        typename TypeParam::BufferedSink buffered(&sink, size);
        std::vector<int32_t> writes;
        int32_t pending = 0;
        const auto drain = [&] {
            if (pending > 0)
                writes.push_back(std::exchange(pending, 0));
        };
        for (int step = 0; step < 50; ++step) {
            const bool isSingle = random() % 3 == 0;
            const auto length = isSingle ? 1 : static_cast<int32_t>(random() % 60);
            if (isSingle)
                buffered.write(*next);
            else
                buffered.write(&*next, length);
            next += length;
            if (pending + length > capacity || length >= capacity)
                drain();
            if (length < capacity)
                pending += length;
            else
                writes.push_back(length);
            ASSERT_EQ(sink.writes, writes) << round;
        }
        EXPECT_EQ(sink.flushes, 0);
        buffered.flush();
        drain();
        ASSERT_EQ(sink.writes, writes) << round;
        ASSERT_EQ(sink.content, Units<Unit>(units.begin(), next)) << round;
        EXPECT_EQ(sink.flushes, 1);
    }
}

TYPED_TEST(BufferedStream, RefusesEverythingOnceClosed) {
    FakeSource<TypeParam> source(distinctText(40));
    typename TypeParam::BufferedSource in(&source, 16);
    in.read();
    EXPECT_TRUE(in.markSupported());
    in.close();
    typename TypeParam::Unit unit = 0;
    expectClosed({[&] { in.read(); }, [&] { in.read(&unit, 1); }, [&] { in.read(&unit, 0); },
                  [&] { in.skip(1); }, [&] { in.available(); }, [&] { in.mark(1); },
                  [&] { in.reset(); }, [&] { in.markSupported(); }, [&] { in.close(); }});
    EXPECT_EQ(source.closes, 1);

    FakeSink<TypeParam> sink;
    {
        typename TypeParam::BufferedSink out(&sink, 16), destroyed(&sink, 16);
        out.write(&unit, 1);
        destroyed.write(&unit, 1);
        out.close();
        expectClosed({[&] { out.write(unit); }, [&] { out.write(&unit, 1); },
                      [&] { out.write(&unit, 0); }, [&] { out.flush(); }});
    }
    EXPECT_TRUE(sink.content.empty()) << "what was pending is dropped";
    EXPECT_EQ(sink.closes, 1);
}

using Lines = std::vector<std::string>;

Lines linesOf(BufferedReader& reader) {
    Lines lines;
    qx::String line(u"left over");
    int32_t length;
    while ((length = reader.readLine(line)) >= 0) {
        EXPECT_EQ(length, line.getLength());
        lines.push_back(line.toUtf8());
    }
    EXPECT_TRUE(line.isEmpty());
    return lines;
}

/// Lines by the plain rule: CR LF, CR and LF each end one.
Lines plainLinesOf(const std::string& text) {
    Lines lines;
    std::string line;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r' && text[i] != '\n') {
            line += text[i];
            continue;
        }
        if (text.compare(i, 2, "\r\n") == 0)
            ++i;
        lines.push_back(std::exchange(line, {}));
    }
    if (!line.empty())
        lines.push_back(line);
    return lines;
}

TEST(BufferedReader, SplitsEveryShortTextInEveryPortion) {
    constexpr int MaxLength = 6;
    int combinations = 1;
    for (int length = 0; length <= MaxLength; ++length, combinations *= 3) {
        for (int number = 0; number < combinations; ++number) {
            std::string text;
            for (int rest = number, i = 0; i < length; ++i, rest /= 3)
                text += "x\r\n"[rest % 3];
            for (const int32_t portion : {1, 2, 3, 100}) {
                FakeSource<Chars> source(text, portion);
                BufferedReader reader(&source, 16);
                ASSERT_EQ(linesOf(reader), plainLinesOf(text)) << testing::PrintToString(text);
            }
        }
    }
}

TEST(BufferedReader, WaitsForNoMoreInputThanTheLineNeeds) {
    // A source with more to come would block in a further read. One look behind CR has to be.
    const std::pair<const char*, size_t> textsAndRequests[] = {
        {"a\n", 1}, {"a\r\n", 1}, {"a\rb", 1}, {"a\r", 2}};
    for (const auto& [text, requests] : textsAndRequests) {
        FakeSource<Chars> source{std::string(text)};
        BufferedReader reader(&source, 16);
        qx::String line;
        EXPECT_EQ(reader.readLine(line), 1);
        EXPECT_EQ(source.requests.size(), requests) << testing::PrintToString(text);
        reader.close();
        expectClosed({[&] { reader.readLine(line); }});
    }
}

TEST(LineEnd, WideScanFindsWhatThePlainOneFinds) {
    constexpr int32_t MaxLength = 40;
    // Neighbours of CR and LF, alone and as one half of a unit.
    constexpr char16_t Others[] = {0x0A0A, 0x0D0D, 0x0D00, 0x0A00, 0x0B, 0x0C, 0x8D};
    char16_t units[MaxLength + 8];
    for (int32_t offset = 0; offset < 8; ++offset) {
        for (int32_t length = 0; length <= MaxLength; ++length) {
            for (int32_t position = 0; position <= length; ++position) {
                for (const char16_t end : {u'\r', u'\n'}) {
                    for (int32_t i = 0; i < length; ++i)
                        units[offset + i] = i == position + 1 ? u'\n' : Others[i % 7];
                    if (position < length)
                        units[offset + position] = end;
                    ASSERT_EQ(qx::io::detail::findLineEnd(units + offset, length), position);
                }
            }
        }
    }
}

} // namespace
