#include <functional>

#include <gtest/gtest.h>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedOutputStream.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/NullOutputStream.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/PrintWriter.h>
#include <qx/io/StringWriter.h>

#include "tests/support/FailingAllocator.h"
#include "tests/support/TemporaryFolder.h"

using namespace qxtest;
using namespace qx::io;

namespace {

constexpr signed char Text[] = "first line\nsecond line\r\nthird line, longer than the buffer\n";
constexpr int32_t TextLength = sizeof Text - 1;

/// Runs @p body, which may run out of memory, and nothing else.
void runOutOfMemory(const std::function<void()>& body) {
    const int32_t result = qx::resultOf(body);
    EXPECT_TRUE(result == 0 || result == qx::result::OutOfMemory) << result;
}

TEST(StreamAllocations, FailureOfAnyOneLeavesNothingBehind) {
    const TemporaryFolder folder;
    const std::string path = folder.path("file");
    writeFile(path, "content");
    const std::function<void()> operations[] = {
        [] {
            const auto bytes = qx::makeReference<ByteArrayInputStream>(Text, TextLength);
            const auto buffered = qx::makeReference<BufferedInputStream>(bytes, 16);
            buffered->mark(40);
            EXPECT_EQ(buffered->skip(30), 30);
            buffered->reset();
            EXPECT_EQ(buffered->read(), 'f');
        },
        [] {
            const auto bytes = qx::makeReference<ByteArrayOutputStream>(8);
            const auto buffered = qx::makeReference<BufferedOutputStream>(bytes, 16);
            buffered->write(Text, TextLength);
            buffered->flush();
            EXPECT_EQ(bytes->getSize(), TextLength);
        },
        [] {
            const auto bytes = qx::makeReference<ByteArrayInputStream>(Text, TextLength);
            const auto decoder = qx::makeReference<InputStreamReader>(bytes, u"UTF-8", 7);
            const auto reader = qx::makeReference<BufferedReader>(decoder, 16);
            qx::String line;
            while (reader->readLine(line) >= 0) {
            }
        },
        [] {
            const auto bytes = qx::makeReference<ByteArrayOutputStream>(8);
            const auto encoder = qx::makeReference<OutputStreamWriter>(bytes, u"AMP-7", 6);
            const auto buffered = qx::makeReference<BufferedWriter>(encoder, 16);
            const auto printer = qx::makeReference<PrintWriter>(buffered, true);
            printer->println("bytes");
            printer->println(1.5);
            printer->println(u"\u20AC");
            EXPECT_EQ(bytes->getSize(), 6 + 4 + 8);
        },
        [] {
            const auto text = qx::makeReference<StringWriter>();
            text->write(u"some text that does not fit into the room at first");
            const qx::String copy = text->toString();
            text->write(u'.');
        },
        [&path] {
            const auto in = qx::makeReference<FileInputStream>(qx::String::fromUtf8(path));
            EXPECT_EQ(in->read(), 'c');
        },
        [&path] {
            const auto out = qx::makeReference<FileOutputStream>(qx::String::fromUtf8(path),
                                                                 FileOutputStream::APPEND |
                                                                     FileOutputStream::KEEPCLOSED);
            out->write("x", 1);
        },
    };
    for (const auto& operation : operations) {
        SCOPED_TRACE(&operation - operations);
        operation(); // whatever the process allocates once is there from now on
        EXPECT_GT(failEachAllocation([&] { runOutOfMemory(operation); }), 0);
    }
}

TEST(StreamAllocations, ThereAreNoneInSteadyState) {
    for (const char16_t* encoding :
         {u"UTF-8", u"UTF-16LE", u"UTF-16BE", u"UTF-32LE", u"UTF-32BE", u"AMP-7", u"CP1252"}) {
        ByteArrayInputStream bytes(Text, TextLength);
        InputStreamReader decoder(&bytes, encoding, 16);
        BufferedReader reader(&decoder, 16);
        qx::String line(64); // room for every line
        NullOutputStream sink;
        OutputStreamWriter encoder(&sink, encoding);
        BufferedWriter buffered(&encoder);
        PrintWriter out(&buffered, true);
        const int64_t before = allocationCount();
        while (reader.readLine(line) >= 0)
            out.println(line);
        out.println(u"a&\u00E9\u20AC\U0001F600");
        for (int number = 0; number < 1000; ++number)
            out.println(number);
        EXPECT_EQ(allocationCount(), before);
    }
}

} // namespace
