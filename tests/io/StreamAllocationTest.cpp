#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/NullOutputStream.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/PrintWriter.h>

#include "tests/support/FailingAllocator.h"

using namespace qxtest;
using namespace qx::io;

namespace {

constexpr signed char Text[] = "first line\nsecond line\r\nthird line, longer than the buffer\n";
constexpr int32_t TextLength = sizeof Text - 1;

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
