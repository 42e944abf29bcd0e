#include <array>
#include <cstdio>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/io/detail/StdioFileOutputStream.h> // the library itself makes none that owns

#include "tests/ipc/IpcTesting.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/FakeStreams.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/TemporaryFolder.h"

using namespace qxtest;
using namespace qx::io;
using qx::makeReference;
using qx::util::FilePath;

namespace {

struct FileStream : testing::Test {
    void TearDown() override { EXPECT_EQ(countOwn("fd"), m_descriptorsBefore); }

    qx::String name(const char* file = "file") const {
        return qx::String::fromUtf8(m_folder.path(file));
    }
    std::string content() const { return readFile(m_file); }
    void setContent(const std::string& bytes) const { writeFile(m_file, bytes); }

    const TemporaryFolder m_folder;
    const std::string m_file = m_folder.path("file");
    const int64_t m_descriptorsBefore = countOwn("fd");
};

TEST_F(FileStream, EachModeTreatsAnExistingFileItsOwnWay) {
    using Out = FileOutputStream;
    const std::pair<unsigned int, const char*> cases[] = {
        // After "old content", two writes of "ab" and "c".
        {0, "abc content"},
        {Out::ATEND, "old contentabc"},
        {Out::TRUNC, "abc"},
        {Out::APPEND, "old contentabc"},
        {Out::APPEND | Out::TRUNC, "abc"},
        {Out::LOCK, "abc content"},
        // Every write opens the file again, at its beginning unless the mode says otherwise.
        {Out::KEEPCLOSED, "cbd content"},
        {Out::KEEPCLOSED | Out::TRUNC, "cb"},
        {Out::KEEPCLOSED | Out::ATEND, "old contentabc"},
        {Out::KEEPCLOSED | Out::APPEND | Out::TRUNC, "abc"},
        {Out::KEEPCLOSED | Out::LOCK | Out::ATEND, "old contentabc"},
    };
    for (const auto& [mode, expected] : cases) {
        SCOPED_TRACE(mode);
        setContent("old content");
        const int isOpen = (mode & Out::KEEPCLOSED) != 0 ? 0 : 1;
        Out out(name(), mode);
        EXPECT_EQ(out.getMode(), mode);
        EXPECT_EQ(out.is_open(), isOpen);
        out.write("ab");
        EXPECT_EQ(out.is_open(), isOpen);
        out.write("c");
        EXPECT_EQ(content(), expected);
        EXPECT_EQ(out.getSize(), static_cast<int64_t>(content().size()));
        EXPECT_EQ(out.is_open(), isOpen);
    }
    // A truth value chooses between the end and an empty file.
    makeReference<Out>(name(), false)->write("old");
    makeReference<Out>(FilePath(name()), true)->write("+new");
    EXPECT_EQ(content(), "old+new");
}

TEST_F(FileStream, WriteThatFailsInTheMiddleTakesBackWhatItHasAppended) {
    using Out = FileOutputStream;
    const auto repeat = [](OutputStream& out) {
        out.write("whole, ");
        withFileSizeLimit(10, [&] { EXPECT_ANY_THROW(out.write("in part")); });
        out.write("again");
    };
    for (const unsigned int mode : {Out::ATEND, Out::APPEND, Out::TRUNC, Out::KEEPCLOSED | 1}) {
        SCOPED_TRACE(mode);
        setContent("");
        repeat(*makeReference<Out>(name(), mode));
        EXPECT_EQ(content(), "whole, again");
    }
    // Begun in another folder, from which the path is relative.
    ReplacingFileOutputStream aside((CurrentFolder(), std::filesystem::relative(m_file)).c_str());
    repeat(aside);
    std::filesystem::permissions(m_file, std::filesystem::perms(0604));
    aside.commit();
    EXPECT_EQ(std::filesystem::status(m_file).permissions(), std::filesystem::perms(0604));
    EXPECT_EQ(content(), "whole, again");
    setContent("0123456789");
    Out over(name(), 0u);
    withFileSizeLimit(5, [&] { EXPECT_ANY_THROW(over.write("abcdef")); });
    EXPECT_EQ(content(), "abcde56789") << "what lies behind stays";
}

TEST_F(FileStream, ReopensByItsOwnCopyOfTheNameWithoutTruncation) {
    std::u16string units = u"file";
    const mode_t mask = umask(0);
    std::filesystem::current_path(m_folder.path());
    FileOutputStream out(qx::String(units.c_str(), qx::String::AM_WRAP), FileOutputStream::TRUNC);
    std::filesystem::current_path("/");
    umask(mask);
    EXPECT_EQ(std::filesystem::status(m_file).permissions(), std::filesystem::perms(0700));
    FileOutputStream(name("other"), FileOutputStream::NOSYNC, FilePermissions(0600)).flush();
    EXPECT_EQ(std::filesystem::status(m_folder.path("other")).permissions(),
              std::filesystem::perms(0600));
    units.assign(units.size(), u'x');
    out.write("abc");
    EXPECT_ANY_THROW((FailingCalls(0, EIO), out.flush()));
    EXPECT_ANY_THROW(out.flush()) << "what the disk has lost stays lost";
    out.close();
    EXPECT_EQ(out.getHandle(), ~uint64_t{0});
    out.close();
    expectEach(qx::result::InvalidHandle, {[&] { out.write("x"); }, [&] { out.getSize(); }});
    out.open();
    out.open();
    out.write("x");
    out.flush();
    EXPECT_EQ(content(), "xbc");
}

TEST_F(FileStream, ReadsUntilTheEnd) {
    setContent("abc");
    for (const auto& in : {makeReference<FileInputStream>(name()),
                           makeReference<FileInputStream>(FilePath(name()))}) {
        EXPECT_EQ(played(*in, ". a r0 r8 r8 . c c"), "97 2 -1 2:bc -1 -1  ");
        EXPECT_EQ(in->getHandle(), ~uint64_t{0});
        expectEach(qx::result::InvalidHandle, {[&] { in->read(); }});
    }
    EXPECT_EQ(played(*makeReference<FileInputStream>(name()), "a s1 a . s9 a s1"),
              "3 1 2 98 1 0 0");
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    FileOutputStream(static_cast<uint64_t>(ends[1]), true).write("abc", 3);
    FileInputStream in(static_cast<uint64_t>(ends[0]), true);
    EXPECT_EQ(played(in, "a s1 a s9 a"), "3 1 2 2 0");
    EXPECT_GT(FileInputStream(u"/proc/self/status").skip(INT32_MAX), 100) << "of no size";
}

TEST_F(FileStream, FiltersReadAllThatThereIsAndOnWhereTheFileGrows) {
    for (const int32_t length : {100, 8192, 16384}) { // the buffers have 8192
        const std::string content(static_cast<size_t>(length), 'x');
        setContent(content);
        InputStreamReader text(makeReference<FileInputStream>(name()), u"ASCII");
        BufferedInputStream bytes(makeReference<FileInputStream>(name()));
        char16_t units[20000];
        char place[20000];
        EXPECT_EQ(text.read(), u'x'); // which fills the buffers
        EXPECT_EQ(bytes.read(), 'x');
        BufferedInputStream marked(makeReference<FileInputStream>(name()));
        marked.mark(length);
        EXPECT_EQ(marked.read(place, 20000), length);
        EXPECT_NO_THROW(marked.reset()) << "nothing has looked beyond the mark's limit";
        for (const int32_t read : {length - 1, 3, -1}) {
            EXPECT_EQ(text.read(units, 20000), read);
            EXPECT_EQ(bytes.read(place, 20000), read);
            setContent(content + "xxx");
        }
    }
}

TEST_F(FileStream, ReportsWhatCannotBeOpened) {
    expectEach(qx::result::NotFound, {[&] { FileInputStream in(name("missing")); },
                                      [&] { FileOutputStream(name("no/folder"), 0u); }});
    expectEach(qx::result::AccessDenied, {[&] { FileInputStream in(name("")); }});
    FileOutputStream nameless(1, false);
    nameless.close();
    // Cut at the 0 unit, this would be the name of another file.
    const qx::String cut = name("cut") + qx::String(u"\0x", 2);
    expectEach<qx::InvalidPathException>(
        {[] { FileOutputStream(qx::String(), 0u); },
         [] { FileOutputStream(FilePath(qx::String()), true); }, [&] { nameless.open(); },
         [&] { FileOutputStream(cut, FileOutputStream::LOCK); },
         [&] { FileOutputStream(cut, false); }, [&] { FileInputStream in(cut); }});
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.path()));
}

TEST_F(FileStream, ClosesOnlyHandlesThatItOwns) {
    setContent("abc");
    const int descriptor = open(m_file.c_str(), O_RDWR | O_CLOEXEC);
    const auto handle = static_cast<uint64_t>(descriptor);
    FileInputStream in(handle, false);
    in.close();
    EXPECT_EQ(in.read(), 'a');
    FileOutputStream out(handle, false);
    out.close();
    EXPECT_EQ(out.is_open(), 1);
    out.write("X");
    EXPECT_EQ(content(), "aXc");
    FileInputStream(handle, true).close();
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(FileStream, ReportsAFullDisk) {
    const qx::String full(u"/dev/full");
    for (const unsigned int mode : {0u, FileOutputStream::KEEPCLOSED, FileOutputStream::LOCK,
                                    FileOutputStream::APPEND | FileOutputStream::KEEPCLOSED}) {
        SCOPED_TRACE(mode);
        FileOutputStream out(full, mode);
        const auto use = [&] { out.write("x"); };
        expectEach(qx::result::DiskFull, {use});
        // Neither the lock between processes nor the mutex stays behind.
        std::thread([&] {
            FileOutputStream second(full, mode);
            expectEach(qx::result::DiskFull, {[&] { second.write("x"); }, use});
        }).join();
        EXPECT_EQ(out.is_open(), (mode & FileOutputStream::KEEPCLOSED) != 0 ? 0 : 1);
    }
}

TEST_F(FileStream, GoesOnThroughInterruptionsAndShortWrites) {
    // Far more than a pipe holds, so that writes are cut short while the reader is slow.
    std::string sent(3'000'000, '\0');
    for (size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<char>(i * 7919 >> 8);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    FileInputStream in(static_cast<uint64_t>(ends[0]), true);
    FileOutputStream out(static_cast<uint64_t>(ends[1]), true);
    const SignalStorm storm;
    std::string received;
    std::thread reader([&] {
        while (readBlock<char>(in, 10'000, received)) {
        }
    });
    out.write(sent);
    out.close();
    reader.join();
    EXPECT_TRUE(received == sent);
}

TEST_F(FileStream, WritersOfOneNameTakeTurnsHoweverTheyWriteItAndTheHolderGoesOn) {
    const auto mode = FileOutputStream::APPEND | FileOutputStream::KEEPCLOSED;
    FileOutputStream first(name(), mode), modeless(name(), 0u);
    qx::String backslashes = name();
    backslashes.translate(u'/', u'\\');
    FileOutputStream second(backslashes, FileOutputStream::LOCK);
    modeless.wait();
    first.wait(); // hangs if the stream without a turn had taken it
    modeless.signal();
    first.wait(); // nests
    BlockingThread other([&] { second.write("2"); }), same([&] { first.write("b"); });
    other.awaitBlocked();
    same.awaitBlocked();
    first.write("a");
    first.signal();
    other.awaitBlocked();
    EXPECT_FALSE(other.isFinished());
    EXPECT_EQ(first.getSize(), 1);
    first.flush();
    first.close();
    first.open();
    first.signal();
    other.join();
    same.join();
    EXPECT_EQ(content(), "2b");
}

constexpr size_t Writers = 16;
constexpr int RecordsOfEach = 400;

/// Record @p number of @p writer: mostly short, sometimes longer than a page.
std::string recordOf(size_t writer, int number) {
    const std::string key = std::to_string(writer) + "." + std::to_string(number);
    return "<" + key + std::string(number % 20 == 0 ? 9000 : 100, 'x') + ">\n";
}

/// Expects the records of @p writer to be whole and in order.
void expectRecords(const std::string& all, size_t writer, int count) {
    size_t position = 0;
    for (int number = 0; number < count; ++number) {
        position = all.find(recordOf(writer, number), position);
        ASSERT_NE(position, std::string::npos) << writer << ' ' << number;
    }
}

TEST_F(FileStream, KeepClosedStreamServesManyThreads) {
    FileOutputStream out(name(), FileOutputStream::KEEPCLOSED | FileOutputStream::ATEND);
    inThreads(4, [&out](size_t writer) {
        for (int number = 0; number < 50; ++number) {
            out.write(recordOf(writer, number));
            out.getSize();
            out.is_open();
            out.getHandle();
            out.flush();
            out.close();
        }
    });
    for (size_t writer = 0; writer < 4; ++writer)
        expectRecords(content(), writer, 50);
}

/// Appends its records; arguments: file, number of the writer.
const ChildEntry appendEntry("io.append", [](const std::vector<std::string>& arguments) {
    FileOutputStream out(qx::String::fromUtf8(arguments[0]), FileOutputStream::APPEND);
    for (int number = 0; number < RecordsOfEach; ++number)
        out.write(recordOf(std::stoul(arguments[1]), number));
    return 0;
});

TEST_F(FileStream, SixteenProcessesLoseAndTearNothingWhenSomeAreKilled) {
    std::filesystem::create_symlink("file", m_folder.path("link"));
    // The lock between them goes by the name, the file has several.
    const char* const spellings[] = {"file", "./file", "link"};
    std::vector<ChildProcess> writers;
    for (size_t writer = 0; writer < Writers; ++writer)
        writers.emplace_back(
            "io.append", std::vector{m_folder.path(spellings[writer % 3]), std::to_string(writer)});
    for (size_t writer = 3; writer < Writers; writer += 4) {
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
        writers[writer].kill();
    }
    for (size_t writer = 0; writer < Writers; ++writer)
        EXPECT_TRUE(writers[writer].join() == 0 || writer % 4 == 3) << writer;
    for (size_t writer = 0; writer < Writers; ++writer)
        expectRecords(content(), writer, writer % 4 == 3 ? 0 : RecordsOfEach);
}

/// Connects a standard stream of this process with a file.
void redirect(int standard, const std::string& path, int flags) {
    const int file = open(path.c_str(), flags | O_CLOEXEC, 0600);
    dup2(file, standard);
    close(file);
}

/// Arguments: kind of stream, file for standard input, file for the report, operations.
const ChildEntry readEntry("io.stdin", [](const std::vector<std::string>& arguments) {
    redirect(STDIN_FILENO, arguments[1], O_RDONLY);
    setsid(); // without a terminal
    if (arguments[0] == "closed")
        close(STDIN_FILENO);
    StdioInputStream stdio;
    MaskedConsoleInputStream console;
    InputStream& in = arguments[0] == "console" ? static_cast<InputStream&>(console) : stdio;
    writeFile(arguments[2], played(in, arguments[3]));
    return 0;
});

TEST(StandardInput, IsReadByLinesAndBytesAndEditedOnAConsole) {
    const std::array<std::string, 4> cases[] = {
        {"stdio", "ab\ncd", "r10 r10 r10 .", "3:ab\n 2:cd -1 -1"},
        {"stdio", "abcdef", "r4 r4 r4", "3:abc 3:def -1"}, // one is for the terminator
        {"stdio", "ab", "r1 r0 r-1 .", "-1 0 0 97"},
        {"stdio", "\xFFz", ". . . .", "255 122 -1 -1"},
        {"stdio", "abcdef", "s2 . s0 s-1 .", "2 99 0 0 100"},
        {"stdio", std::string("a\0b\n", 4), "r9", std::string("4:a\0b\n", 6)},
        {"closed", "", "r9 . s2", "!stream read error !stream read error !stream seek error"},
        {"console", "secret\rmore", "r20 r20", "7:secret\n 4:more"},
        {"console", "abcdef", "r3 r20", "3:abc 3:def"},
        {"console", "\bab\b\b\bb\n", "r20", "2:b\n"},
        {"console", "ab\x1Axy\n", "r20 r20", "2:ab 3:xy\n"},
        {"console", "ab\x03xy\n", "r20 r20",
         std::string("!") + typeid(qx::UserAbortException).name() + " 3:xy\n"},
        {"console", "ab", "r0 r-1 . r9 r9", "0 0 97 1:b -1"},
    };
    const TemporaryFolder folder;
    const std::string in = folder.path("in"), report = folder.path("report");
    for (const auto& [kind, input, operations, expected] : cases) {
        writeFile(in, input);
        EXPECT_EQ(ChildProcess("io.stdin", {kind, in, report, operations}).join(), 0);
        EXPECT_EQ(readFile(report), expected);
    }
}

/// Arguments: file for standard output, file for the report, "pipe" for a closed pipe instead.
const ChildEntry writeEntry("io.stdout", [](const std::vector<std::string>& arguments) {
    redirect(STDOUT_FILENO, arguments[0], O_WRONLY | O_CREAT);
    redirect(STDERR_FILENO, arguments[0], O_WRONLY | O_APPEND);
    const bool isPipe = arguments[2] == "pipe";
    int ends[2];
    if (isPipe && pipe2(ends, O_CLOEXEC) == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
    }
    StdioOutputStream out;
    std::string report;
    const auto note = [&](auto operation) { report += descriptionOf(operation) + ";"; };
    note([&] { out.write("block ", 6); });
    note([&] { out.write('b'); });
    note([&] { out.flush(); });
    note([&] { out.write('c'); }); // what was lost is not forgotten
    descriptionOf([&] { out.flush(); });
    if (!isPipe)
        note([&] {
            StdioOutputStream::getStdErrorStream()->write("error", 5); // leaves it open
            const auto error = StdioOutputStream::getStdErrorStream();
            error->write('!');
            error->flush();
        });
    writeFile(arguments[1], report);
    fclose(stdout);
    return 0;
});

TEST(StandardOutput, ReportsFailuresAndAClosedPipeWithoutASignal) {
    const TemporaryFolder folder;
    const std::string file = folder.path("out"), report = folder.path("report");
    detail::StdioFileOutputStream(std::fopen(file.c_str(), "w"), true).write('x');
    EXPECT_EQ(readFile(file), "x") << "its own is closed";
    const std::string well = "nothing thrown;", badly = "stream write error;";
    const std::string failed = badly + well + "stream flush error;" + badly;
    const std::array<std::string, 3> cases[] = {{file, "file", well + well + well + well + well},
                                                {"/dev/full", "device", failed + badly},
                                                {folder.path("unused"), "pipe", failed}};
    for (const auto& [target, kind, expected] : cases) {
        EXPECT_EQ(ChildProcess("io.stdout", {target, report, kind}).join(), 0);
        EXPECT_EQ(readFile(report), expected) << kind;
    }
    // Blocks go past the buffer, single bytes through it.
    EXPECT_EQ(readFile(file), "block bcerror!");
}

} // namespace
