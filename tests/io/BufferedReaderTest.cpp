#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/io/BufferedReader.h>
// The wide scan has no public name and is compared with a plain one here.
#include <qx/io/detail/LineEnd.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::io::BufferedReader;

namespace {

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
    constexpr char Alphabet[] = {'x', '\r', '\n'};
    constexpr int MaxLength = 6;
    int combinations = 1;
    for (int length = 0; length <= MaxLength; ++length, combinations *= 3) {
        for (int number = 0; number < combinations; ++number) {
            std::string text;
            for (int rest = number, i = 0; i < length; ++i, rest /= 3)
                text += Alphabet[rest % 3];
            for (const int32_t portion : {1, 2, 3, 100}) {
                FakeSource<Chars> source(text, portion);
                BufferedReader reader(&source, 16);
                ASSERT_EQ(linesOf(reader), plainLinesOf(text)) << testing::PrintToString(text);
            }
        }
    }
}

TEST(BufferedReader, JoinsLinesOverAnyNumberOfRefills) {
    for (int length = 0; length < 70; ++length) {
        const std::string line(static_cast<size_t>(length), 'x');
        for (const char* end : {"\n", "\r", "\r\n"}) {
            FakeSource<Chars> source(line + end + line + end + "z");
            BufferedReader reader(&source, 16);
            ASSERT_EQ(linesOf(reader), (Lines{line, line, "z"})) << length;
        }
    }
}

TEST(BufferedReader, WaitsForNoMoreInputThanTheLineNeeds) {
    // A source with more to come would block in a further read.
    const struct {
        const char* text;
        size_t requests;
    } cases[] = {
        {"a\n", 1},   // complete
        {"a\r\n", 1}, // complete
        {"a\rb", 1},  // the unit behind CR is there
        {"a\r", 2},   // one look behind CR
    };
    for (const auto& c : cases) {
        FakeSource<Chars> source{std::string(c.text)};
        BufferedReader reader(&source, 16);
        qx::String line;
        EXPECT_EQ(reader.readLine(line), 1);
        EXPECT_EQ(source.requests.size(), c.requests) << testing::PrintToString(c.text);
    }
}

TEST(BufferedReader, MixesLinesWithOtherReadsAndMarks) {
    FakeSource<Chars> source(std::string("ab\r\ncdef\nghij\nk"));
    BufferedReader reader(&source, 16);
    qx::String line;
    EXPECT_EQ(reader.read(), 'a');
    EXPECT_EQ(reader.readLine(line), 1);
    reader.mark(12);
    EXPECT_EQ(reader.readLine(line), 4);
    EXPECT_EQ(line, u"cdef");
    EXPECT_EQ(reader.readLine(line), 4);
    reader.reset();
    EXPECT_EQ(reader.readLine(line), 4);
    EXPECT_EQ(line, u"cdef");
    EXPECT_EQ(reader.skip(2), 2);
    EXPECT_EQ(reader.readLine(line), 2);
    EXPECT_EQ(line, u"ij");
}

TEST(BufferedReader, ReadsNoLineOnceClosed) {
    FakeSource<Chars> source(std::string("a\nb"));
    BufferedReader reader(&source);
    qx::String line;
    reader.readLine(line);
    reader.close();
    EXPECT_EQ(descriptionOf([&] { reader.readLine(line); }), "stream closed");
}

TEST(LineEnd, WideScanFindsWhatThePlainOneFinds) {
    constexpr int32_t MaxLength = 40;
    char16_t units[MaxLength + 8];
    for (int32_t offset = 0; offset < 8; ++offset) {
        for (int32_t length = 0; length <= MaxLength; ++length) {
            for (int32_t position = 0; position <= length; ++position) {
                for (const char16_t end : {u'\r', u'\n'}) {
                    // Neighbours of CR and LF, alone and as one half of a unit.
                    constexpr char16_t Others[] = {0x0A0A, 0x0D0D, 0x0D00, 0x0A00,
                                                   0x0B,   0x0C,   0x8D};
                    for (int32_t i = 0; i < length; ++i)
                        units[offset + i] = Others[i % 7];
                    if (position < length)
                        units[offset + position] = end;
                    if (position + 1 < length)
                        units[offset + position + 1] = u'\n';
                    ASSERT_EQ(qx::io::detail::findLineEnd(units + offset, length), position);
                }
            }
        }
    }
}

} // namespace
