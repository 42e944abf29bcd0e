// Whatever has a state fails once in the middle and is used on: nothing that was read or written is
// lost or comes twice, and no failure goes unseen.

#include <random>

#include "tests/support/FailingAllocator.h"
#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;
using qx::makeReference;

namespace {

qx::Reference<InputStreamReader> decoderOver(InputStream* in) {
    return makeReference<InputStreamReader>(in, u"UTF-8", 16);
}

/// Appends what one read of so many units gives, also when it fails; false at the end.
using Reading = std::function<bool(int32_t length, std::string& text)>;

template <class Layer>
Reading blocksOf(const qx::Reference<typename Layer::Source>& source) {
    return [source](int32_t length, std::string& text) {
        if (length > 1)
            return readBlock<typename Layer::Unit>(*source, length, text);
        const int unit = source->read();
        if (unit >= 0)
            text += static_cast<char>(unit);
        return unit >= 0;
    };
}

const std::pair<const char*, Reading (*)(InputStream* in)> Readers[] = {
    {"bits", [](auto* in) { return blocksOf<Bytes>(new qx::io::BitInputStream(in)); }},
    {"buffer", [](auto* in) { return blocksOf<Bytes>(new BufferedInputStream(in, 16)); }},
    {"marked buffer",
     [](auto* in) {
         const auto buffer = makeReference<BufferedInputStream>(in, 16);
         return Reading([buffer](int32_t length, std::string& text) {
             buffer->mark(2 * length); // each block is read twice
             std::string first;
             if (!readBlock<char>(*buffer, length, first))
                 return false;
             buffer->reset();
             return readBlock<char>(*buffer, static_cast<int32_t>(first.size()), text);
         });
     }},
    {"decoder", [](auto* in) { return blocksOf<Chars>(decoderOver(in)); }},
    {"buffered decoder",
     [](auto* in) { return blocksOf<Chars>(new BufferedReader(decoderOver(in), 16)); }},
    {"skipping decoder",
     [](auto* in) {
         return Reading([reader = decoderOver(in)](int32_t length, std::string& text) {
             const int32_t skipped = reader->skip(length);
             for (int32_t i = 0; i < skipped; ++i)
                 text += static_cast<char>('0' + text.size()); // as in the content
             return skipped > 0;
         });
     }},
    {"lines",
     [](auto* in) {
         const auto reader = makeReference<BufferedReader>(decoderOver(in), 16);
         return Reading([reader](int32_t, std::string& text) {
             qx::String line;
             const int32_t failure = qx::resultOf([&] { reader->readLine(line); });
             text += line.toUtf8(); // a part, after a failure
             qx::throwIfFailed(failure);
             return !line.isEmpty();
         });
     }},
};

TEST(AfterFailure, ReadersHaveDeliveredWhatCameBeforeAndGoOnBehindIt) {
    std::string content;
    for (int i = 0; i < 60; ++i)
        content += static_cast<char>('0' + i);
    for (const auto& [name, over] : Readers) {
        for (int play = 0; play < 4 * 3 * 5 * 2; ++play) {
            constexpr int32_t Lengths[] = {1, 5, 16, 40}, Portions[] = {1, 7, 16};
            const int32_t length = Lengths[play % 4];
            const int32_t portion = Portions[play / 4 % 3];
            const int failAt = 1 + play / 12 % 5;
            SCOPED_TRACE(testing::Message() << name << " " << length << " " << portion << " at "
                                            << failAt << (play < 60 ? "" : " more"));
            const auto in = makeReference<FakeSource<Bytes>>(content, portion);
            in->failAt = failAt;
            in->availableNow = play / 60;
            const Reading read = over(in);
            std::string text;
            int failures = 0;
            for (bool goesOn = true; goesOn;)
                failures += failureOf([&] { goesOn = read(length, text); }) < 0;
            EXPECT_EQ(text, content);
            EXPECT_EQ(failures, static_cast<int>(in->requests.size()) >= failAt ? 1 : 0);
        }
    }
}

/// Writes a record; flushes for an empty one.
using Writing = std::function<void(const std::string& record)>;

template <class Layer>
Writing recordsTo(const qx::Reference<typename Layer::Sink>& sink) {
    return [sink](const std::string& record) {
        const auto units = qxtest::unitsOf<typename Layer::Unit>(record);
        if (record.empty())
            sink->flush();
        else
            sink->write(units.data(), static_cast<int32_t>(units.size()));
    };
}

const std::tuple<const char*, bool, Writing (*)(OutputStream* out)> Writers[] = {
    // with whether a record that was refused is not there at all, rather than in part
    {"buffer", true, [](auto* out) { return recordsTo<Bytes>(new BufferedOutputStream(out, 16)); }},
    {"encoder", false,
     [](auto* out) { return recordsTo<Chars>(new OutputStreamWriter(out, u"CP1252", 16)); }},
    {"buffered encoder", true,
     [](auto* out) {
         const auto encoder = makeReference<OutputStreamWriter>(out, u"UTF-8", 64);
         const auto buffer = makeReference<BufferedWriter>(encoder, 40);
         return recordsTo<Chars>(new PrintWriter(buffer));
     }},
};

TEST(AfterFailure, WritersHaveWrittenOnceWhatTheyTook) {
    std::mt19937 random(1);
    for (const auto& [name, isWhole, over] : Writers) {
        for (int round = 0; round < 300; ++round) {
            SCOPED_TRACE(testing::Message() << name << ' ' << round);
            const auto sink = makeReference<FakeSink<Bytes>>();
            const Writing write = over(sink);
            std::vector<std::pair<std::string, bool>> records; // with whether they were taken
            for (int step = 0; step < 40; ++step) {
                sink->failing = random() % 3 == 0;
                // No record looks like the one before it.
                const auto letter = static_cast<char>('a' + step % 26);
                const std::string record(random() % 25, letter);
                const bool isTaken = failureOf([&] { write(record); }) == 0;
                if (!record.empty())
                    records.emplace_back(record, isTaken);
            }
            sink->failing = false;
            write("");
            const std::string content = textOf(sink->content);
            size_t position = 0;
            for (const auto& [record, isTaken] : records) {
                size_t length = 0;
                while (length < record.size() && content[position + length] == record[0])
                    ++length;
                ASSERT_TRUE(isTaken ? length == record.size() : length == 0 || !isWhole) << record;
                position += length;
            }
            ASSERT_EQ(position, content.size());
        }
    }
}

TEST(AfterFailure, EncodersReportHalfAPairOnceAndLoseNothingElse) {
    for (const char16_t* encoding : {u"UTF-8", u"UTF-32LE", u"AMP-7", u"ASCII", u"CP1252"}) {
        SCOPED_TRACE(qx::String(encoding));
        FakeSink<Bytes> out;
        OutputStreamWriter writer(&out, encoding, 16);
        const auto refused = [&](const char* description, std::u16string_view text) {
            EXPECT_EQ(descriptionOf([&] { writer.write(qx::String(text)); }), description);
        };
        const char half[] = "leading surrogate without trailing";
        writer.write(u"abc\xD83D");
        expectEach(half, {[&] { writer.flush(); }});
        EXPECT_EQ(out.flushes, 0);
        writer.write(u"xyz");
        writer.flush();
        writer.write(u'\xD83D');
        refused(half, u"lost");
        writer.write(u"1");
        refused(half, u"\xD83D-");
        writer.write(u"2");
        out.failing = true;
        refused("broken sink", std::u16string(60, u'x') + u"\xD83D\xDE00");
        out.failing = false;
        BufferedWriter buffer(&writer, 16);
        buffer.write(u"\xD83D-");
        expectEach(half, {[&] { buffer.flush(); }});
        buffer.write(u"\xD83D and so on");
        BufferedWriter front(&buffer, 16);
        front.write(u"3");
        front.write(u" is kept");
        expectEach(half, {[&] { front.flush(); }});
        front.flush();
        EXPECT_EQ(
            qx::String(out.content.data(), static_cast<int32_t>(out.content.size()), encoding),
            u"abcxyz123 is kept");
    }
    // What a decoder refuses stays where it is.
    FakeSource<Bytes> in(std::string("ab\xED\xA0\x80"));
    InputStreamReader reader(&in, u"UTF-8");
    char16_t units[8];
    EXPECT_EQ(reader.read(units, 8), 2); // and what comes before it is read
    const auto read = [&] { reader.read(); };
    expectEach(qx::result::InvalidCharacter, {read, read});
}

TEST(AfterFailure, EncodersTakeAgainWhatTheirStreamRefused) {
    const std::u16string text = u"0123456789abcd\xD83D\xDE00"
                                u"fghijklmno\xD83D\xDE00pqrstuvwxyz";
    for (const char16_t* encoding : {u"UTF-8", u"UTF-8-SIG", u"UTF-16", u"UTF-32LE", u"AMP-7"}) {
        for (size_t failing = 0; failing < text.size(); ++failing) {
            SCOPED_TRACE(testing::Message() << qx::String(encoding) << ' ' << failing);
            FakeSink<Bytes> out;
            OutputStreamWriter writer(&out, encoding, 16);
            for (size_t i = 0; i < text.size(); ++i) {
                const auto write = [&] { writer.write(text[i]); };
                out.failing = i == failing;
                const bool isTaken = failureOf(write) == 0;
                out.failing = false;
                if (!isTaken)
                    write();
            }
            writer.flush();
            EXPECT_EQ(
                qx::String(out.content.data(), static_cast<int32_t>(out.content.size()), encoding),
                text);
        }
    }
}

TEST(AfterFailure, StreamsThatGotNoMemoryAreAsTheyWere) {
    ByteArrayOutputStream bytes(4);
    bytes.write("abc", 3);
    BufferedInputStream marked(new FakeSource<Bytes>("a text that is longer than the buffer"), 16);
    EXPECT_EQ(played(marked, "s16 m40"), "16 ");
    for (const std::function<void()>& fail :
         Calls{[&] { bytes.write("defgh", 5); }, [&] { marked.read(); }}) {
        const FailingAllocator noMemory(0);
        EXPECT_EQ(qx::resultOf(fail), qx::result::OutOfMemory);
    }
    bytes.write("d", 1);
    EXPECT_EQ(bytes.toString(), u"abcd");
    EXPECT_EQ(played(marked, "r5 x r5"), "5:onger  5:onger");
}

} // namespace
