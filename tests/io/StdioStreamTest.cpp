#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <qx/core/ExternalException.h>
#include <qx/core/String.h>
#include <qx/io/MaskedConsoleInputStream.h>
#include <qx/io/StdioInputStream.h>
#include <qx/io/StdioOutputStream.h>
#include <qx/io/detail/StdioFileOutputStream.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/FakeStreams.h"
#include "tests/support/TemporaryFolder.h"

using namespace qxtest;

namespace {

/// Connects a standard stream of this process with a file.
void redirect(int standard, const std::string& path, int flags) {
    const int file = open(path.c_str(), flags | O_CLOEXEC, 0600);
    dup2(file, standard);
    close(file);
}

/// Runs operations on a stream and reports each result, "!" and the text for an exception:
/// "rN" reads a block into N bytes, "." a single byte, "sN" skips.
std::string run(qx::io::InputStream& in, const std::vector<std::string>& operations) {
    std::string report;
    for (const auto& operation : operations) {
        const int32_t count = operation.size() > 1 ? std::stoi(operation.substr(1)) : 0;
        std::string bytes(static_cast<size_t>(std::max(count, 1)), '#');
        try {
            int32_t result = 0;
            if (operation[0] == 'r')
                result = in.read(bytes.data(), count);
            else if (operation[0] == 's')
                result = in.skip(count);
            else
                result = in.read();
            report += std::to_string(result);
            if (operation[0] == 'r' && result > 0)
                report += ":" + bytes.substr(0, static_cast<size_t>(result));
        } catch (const qx::UserAbortException&) {
            report += "!abort";
        } catch (const qx::Exception& exception) {
            report += "!" + exception.getDescription().toUtf8();
        }
        report += ' ';
    }
    return report;
}

/// Arguments: kind of stream, file for standard input, file for the report, operations.
const ChildEntry readEntry("io.stdin", [](const std::vector<std::string>& arguments) {
    if (arguments[1] == "closed")
        close(STDIN_FILENO);
    else
        redirect(STDIN_FILENO, arguments[1], O_RDONLY);
    const std::vector<std::string> operations(arguments.begin() + 3, arguments.end());
    std::string report;
    if (arguments[0] == "stdio") {
        qx::io::StdioInputStream in;
        report = run(in, operations);
    } else {
        qx::io::MaskedConsoleInputStream in;
        report = run(in, operations);
    }
    writeFile(arguments[2], report);
    return 0;
});

std::string readInChild(const char* kind, const std::string& input,
                        const std::vector<std::string>& operations) {
    const TemporaryFolder folder;
    const std::string in = folder.path("in"), report = folder.path("report");
    writeFile(in, input);
    std::vector<std::string> arguments{kind, in, report};
    arguments.insert(arguments.end(), operations.begin(), operations.end());
    EXPECT_EQ(ChildProcess("io.stdin", arguments).join(), 0);
    return readFile(report);
}

struct Case {
    std::string input;
    std::vector<std::string> operations;
    std::string report;
};

TEST(StdioInputStream, ReadsByLinesAndBytes) {
    const Case cases[] = {
        {"ab\ncd", {"r10", "r10", "r10"}, "3:ab\n 2:cd -1 "},
        {"abcdef", {"r4", "r4", "r4"}, "3:abc 3:def -1 "}, // one byte is for the terminator
        {"ab", {"r1", "r0", "r-1", "."}, "-1 0 0 97 "},
        {"\xFFz", {".", ".", ".", "."}, "255 122 -1 -1 "},
        {"abcdef", {"s2", ".", "s0", "s-1", "."}, "2 99 0 0 100 "},
        {std::string("a\0b\n", 4), {"r9"}, std::string("4:a\0b\n ", 7)},
        {"", {"r9", "."}, "-1 -1 "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readInChild("stdio", c.input, c.operations), c.report);
}

TEST(MaskedConsoleInputStream, EditsTheLineAndEndsIt) {
    const Case cases[] = {
        {"secret\rmore", {"r20", "r20"}, "7:secret\n 4:more "},
        {"abc\n", {"r20"}, "4:abc\n "},
        {"abcdef", {"r3", "r20"}, "3:abc 3:def "},
        {"ab\bc\n", {"r20"}, "3:ac\n "},
        {"\b\ba\b\b\bb\n", {"r20"}, "2:b\n "},
        {"ab\x1Axy\n", {"r20", "r20"}, "2:ab 3:xy\n "},
        {"\x1A", {"r20"}, "-1 "},
        {"ab\x03xy\n", {"r20", "r20"}, "!abort 3:xy\n "},
        {"ab", {"r0", "r-1", ".", "r9", "r9"}, "0 0 97 1:b -1 "},
        {"\n", {"."}, "10 "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readInChild("console", c.input, c.operations), c.report);
}

/// Arguments: file for standard output or "pipe" for a closed pipe, file for the report.
const ChildEntry writeEntry("io.stdout", [](const std::vector<std::string>& arguments) {
    if (arguments[0] == "pipe") {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return 1;
        dup2(ends[1], STDOUT_FILENO);
        redirect(STDERR_FILENO, "/dev/null", O_WRONLY);
        close(ends[0]);
        close(ends[1]);
    } else {
        redirect(STDOUT_FILENO, arguments[0], O_WRONLY | O_CREAT);
        redirect(STDERR_FILENO, arguments[0], O_WRONLY | O_APPEND);
    }
    qx::io::StdioOutputStream out;
    std::string report = descriptionOf([&] { out.write("block ", 6); }) + ";";
    report += descriptionOf([&] { out.write('b'); }) + ";";
    report += descriptionOf([&] { out.flush(); }) + ";";
    report += descriptionOf([&] { out.write('c'); }) + ";"; // what was lost is not forgotten
    descriptionOf([&] { out.flush(); });
    report += descriptionOf([&] {
        const auto error = qx::io::StdioOutputStream::getStdErrorStream();
        error->write("error", 5);
        error->write('!');
        error->flush();
    });
    writeFile(arguments[1], report);
    fclose(stdout);
    return 0;
});

TEST(StdioOutputStream, WritesBlocksPastTheBufferAndBytesThroughIt) {
    const TemporaryFolder folder;
    EXPECT_EQ(ChildProcess("io.stdout", {folder.path("out"), folder.path("report")}).join(), 0);
    EXPECT_EQ(readFile(folder.path("report")),
              "nothing thrown;nothing thrown;nothing thrown;nothing thrown;nothing thrown");
    EXPECT_EQ(readFile(folder.path("out")), "block bcerror!");
}

TEST(StdioOutputStream, ReportsAClosedPipeWithoutASignal) {
    const TemporaryFolder folder;
    EXPECT_EQ(ChildProcess("io.stdout", {"pipe", folder.path("report")}).join(), 0);
    EXPECT_EQ(readFile(folder.path("report")).substr(0, 73),
              "stream write error;nothing thrown;stream flush error;stream write error;n");
}

TEST(StdioOutputStream, ReportsAFullDisk) {
    const TemporaryFolder folder;
    EXPECT_EQ(ChildProcess("io.stdout", {"/dev/full", folder.path("report")}).join(), 0);
    EXPECT_EQ(readFile(folder.path("report")),
              "stream write error;nothing thrown;stream flush error;stream write error;"
              "stream write error");
}

TEST(StdioInputStream, ReportsFailures) {
    const TemporaryFolder folder;
    const std::string report = folder.path("report");
    EXPECT_EQ(ChildProcess("io.stdin", {"stdio", "closed", report, "r9", ".", "s2"}).join(), 0);
    EXPECT_EQ(readFile(report), "!stream read error !stream read error !stream seek error ");
}

// An internal class: only the library makes streams over files of the C library.
TEST(StdioFileOutputStream, ClosesOnlyWhatItOwns) {
    const TemporaryFolder folder;
    std::FILE* const file = std::fopen(folder.path("out").c_str(), "we");
    ASSERT_NE(file, nullptr);
    const int descriptor = fileno(file);
    qx::makeReference<qx::io::detail::StdioFileOutputStream>(file, false)->write('a');
    EXPECT_GE(fcntl(descriptor, F_GETFD), 0);
    qx::makeReference<qx::io::detail::StdioFileOutputStream>(file, true)->write('b');
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    EXPECT_EQ(readFile(folder.path("out")), "ab");
}

} // namespace
