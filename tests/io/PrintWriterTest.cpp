#include <climits>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/io/PrintWriter.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::io::PrintWriter;

namespace {

using Printing = std::function<void(PrintWriter&)>;

struct Case {
    Printing print;
    Printing println;
    std::string text;
};

template <class Value>
Case caseOf(Value value, const char* text) {
    return {[=](PrintWriter& out) { out.print(value); },
            [=](PrintWriter& out) { out.println(value); }, text};
}

std::vector<Case> cases() {
    return {
        caseOf(qx::String(u"text"), "text"),
        caseOf("bytes", "bytes"),
        caseOf(u"units", "units"),
        caseOf(u'u', "u"),
        caseOf(1.5, "1.5"),
        caseOf(1e100, "1e+100"),
        caseOf(0.1f, "0.1"),
        caseOf(1234567.0, "1.23457e+06"),
        caseOf(-0.0, "-0"),
        caseOf(std::numeric_limits<double>::infinity(), "inf"),
        caseOf(42, "42"),
        caseOf(INT_MIN, "-2147483648"),
        caseOf(LONG_MIN, "-9223372036854775808"),
        caseOf(0u, "0"),
        caseOf(UINT_MAX, "4294967295"),
        caseOf(ULONG_MAX, "18446744073709551615"),
        caseOf(LLONG_MAX, "9223372036854775807"),
        caseOf(ULLONG_MAX, "18446744073709551615"),
        caseOf(true, "true"),
        caseOf(false, "false"),
    };
}

TEST(PrintWriter, PrintsEveryKindOfValueAndFlushesBehindLinesWhenAsked) {
    for (const auto& c : cases()) {
        for (const bool flushes : {false, true}) {
            FakeSink<Chars> sink;
            PrintWriter out(&sink, flushes);
            c.print(out);
            EXPECT_EQ(textOf(sink.content), c.text);
            EXPECT_EQ(sink.flushes, 0);
            c.println(out);
            EXPECT_EQ(textOf(sink.content), c.text + c.text + "\n");
            EXPECT_EQ(sink.flushes, flushes ? 1 : 0);
            out.println();
            EXPECT_EQ(sink.flushes, flushes ? 2 : 0);
        }
    }
}

} // namespace
