#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/core/String.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/platform/result.h>
#include <qx/util/FilePath.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/FakeStreams.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestLocale.h"

using namespace qxtest;
using qx::io::FileInputStream;
using qx::io::FileOutputStream;

namespace {

class FileStream : public testing::Test {
protected:
    void SetUp() override { m_descriptorsBefore = openDescriptors(); }
    void TearDown() override { EXPECT_EQ(openDescriptors(), m_descriptorsBefore); }

    static ptrdiff_t openDescriptors() {
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return std::distance(begin(descriptors), end(descriptors));
    }

    qx::String name(const char* file = "file") const {
        return qx::String::fromUtf8(m_folder.path(file));
    }
    std::string content() const { return readFile(m_folder.path("file")); }
    void setContent(const std::string& bytes) const { writeFile(m_folder.path("file"), bytes); }

    TemporaryFolder m_folder;

private:
    ptrdiff_t m_descriptorsBefore = 0;
};

struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        closeReader();
        closeWriter();
    }
    void closeReader() { close(ends[0]); }
    void closeWriter() { close(ends[1]); }

    int ends[2];

private:
    static void close(int& descriptor) {
        if (descriptor >= 0)
            ::close(std::exchange(descriptor, -1));
    }
};

void write(FileOutputStream& out, const std::string& bytes) {
    out.write(bytes.data(), static_cast<int32_t>(bytes.size()));
}

TEST_F(FileStream, EachModeTreatsAnExistingFileItsOwnWay) {
    struct Case {
        unsigned int mode;
        const char* content; // after "old content", two writes of "ab" and "c"
    };
    const Case cases[] = {
        {0, "abc content"},
        {FileOutputStream::ATEND, "old contentabc"},
        {FileOutputStream::TRUNC, "abc"},
        {FileOutputStream::APPEND, "old contentabc"},
        {FileOutputStream::APPEND | FileOutputStream::TRUNC, "abc"},
        {FileOutputStream::LOCK, "abc content"},
        // Every write opens the file again, at its beginning unless the mode says otherwise.
        {FileOutputStream::KEEPCLOSED, "cbd content"},
        {FileOutputStream::KEEPCLOSED | FileOutputStream::TRUNC, "cb"},
        {FileOutputStream::KEEPCLOSED | FileOutputStream::ATEND, "old contentabc"},
        {FileOutputStream::KEEPCLOSED | FileOutputStream::APPEND, "old contentabc"},
        {FileOutputStream::KEEPCLOSED | FileOutputStream::APPEND | FileOutputStream::TRUNC, "abc"},
        {FileOutputStream::KEEPCLOSED | FileOutputStream::LOCK | FileOutputStream::ATEND,
         "old contentabc"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mode);
        setContent("old content");
        const bool keepsClosed = (c.mode & FileOutputStream::KEEPCLOSED) != 0;
        FileOutputStream out(name(), c.mode);
        EXPECT_EQ(out.getMode(), c.mode);
        EXPECT_EQ(out.is_open(), keepsClosed ? 0 : 1);
        write(out, "ab");
        EXPECT_EQ(out.is_open(), keepsClosed ? 0 : 1);
        write(out, "c");
        EXPECT_EQ(content(), c.content);
        EXPECT_EQ(out.getSize(), static_cast<int64_t>(content().size()));
        EXPECT_EQ(out.is_open(), keepsClosed ? 0 : 1);
    }
}

TEST_F(FileStream, TruthValueChoosesBetweenTheEndAndAnEmptyFile) {
    setContent("old");
    write(*qx::makeReference<FileOutputStream>(name(), true), "+new");
    EXPECT_EQ(content(), "old+new");
    write(*qx::makeReference<FileOutputStream>(qx::util::FilePath(name()), true), "+more");
    EXPECT_EQ(content(), "old+new+more");
    write(*qx::makeReference<FileOutputStream>(name(), false), "new");
    EXPECT_EQ(content(), "new");
}

TEST_F(FileStream, CreatesAFileForItsOwnerOnly) {
    const mode_t mask = umask(0);
    FileOutputStream out(name(), 0u);
    umask(mask);
    struct stat status;
    ASSERT_EQ(stat(m_folder.path("file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0700u);
}

TEST_F(FileStream, ReopensWithoutTruncation) {
    FileOutputStream out(name(), FileOutputStream::TRUNC);
    write(out, "abc");
    out.close();
    EXPECT_EQ(out.is_open(), 0);
    EXPECT_EQ(out.getHandle(), ~uint64_t{0});
    out.close();
    EXPECT_EQ(failureOf([&] { write(out, "x"); }), qx::result::InvalidHandle);
    EXPECT_EQ(failureOf([&] { out.getSize(); }), qx::result::InvalidHandle);
    out.open();
    out.open();
    write(out, "x");
    EXPECT_EQ(content(), "xbc");
}

TEST_F(FileStream, OpensAgainByItsOwnCopyOfTheName) {
    std::u16string units(name().view());
    FileOutputStream out(qx::String(units.c_str(), qx::String::AM_WRAP),
                         FileOutputStream::KEEPCLOSED);
    units.assign(units.size(), u'x');
    write(out, "abc");
    EXPECT_EQ(content(), "abc");
}

TEST_F(FileStream, ReadsUntilTheEnd) {
    setContent("abc");
    for (int form = 0; form < 2; ++form) {
        const auto in = form == 0 ? qx::makeReference<FileInputStream>(name())
                                  : qx::makeReference<FileInputStream>(qx::util::FilePath(name()));
        signed char bytes[8];
        EXPECT_EQ(in->read(), 'a');
        EXPECT_EQ(in->available(), 0);
        EXPECT_EQ(in->read(bytes, 8), 2);
        EXPECT_EQ(in->read(bytes, 8), -1);
        EXPECT_EQ(in->read(), -1);
        in->close();
        in->close();
        EXPECT_EQ(in->getHandle(), ~uint64_t{0});
        EXPECT_EQ(failureOf([&] { in->read(); }), qx::result::InvalidHandle);
    }
    FileInputStream in(name());
    signed char none;
    EXPECT_EQ(in.read(&none, 0), -1);
    EXPECT_EQ(in.skip(10), 3);
}

TEST_F(FileStream, ReportsWhatCannotBeOpened) {
    EXPECT_EQ(failureOf([&] { FileInputStream in(name("missing")); }), qx::result::NotFound);
    EXPECT_EQ(failureOf([&] { FileOutputStream out(name("no/folder"), 0u); }),
              qx::result::NotFound);
    EXPECT_EQ(failureOf([&] { FileInputStream in(name("")); }), qx::result::AccessDenied);
    EXPECT_THROW(FileOutputStream(qx::String(), 0u), qx::InvalidPathException);
    EXPECT_THROW(FileOutputStream(qx::String(), FileOutputStream::APPEND),
                 qx::InvalidPathException);
    EXPECT_THROW(FileOutputStream(qx::util::FilePath(qx::String()), true),
                 qx::InvalidPathException);
    // Cut at the 0 unit, this would be the name of another file.
    const qx::String cut = name("cut") + qx::String(u"\0x", 2);
    EXPECT_THROW(FileOutputStream(cut, false), qx::InvalidPathException);
    EXPECT_EQ(failureOf([&] { FileInputStream in(name("cut")); }), qx::result::NotFound);
    EXPECT_THROW(FileInputStream in(cut), qx::InvalidPathException);
    FileOutputStream nameless(1, false);
    nameless.close();
    EXPECT_THROW(nameless.open(), qx::InvalidPathException);
}

TEST_F(FileStream, OpensTheFileOfThatNameOrNone) {
    {
        const qxtest::TestLocale plain("C");
        for (const char16_t* const text : {u"ä", u"ö"})
            FileOutputStream(name("") + u'/' + text, false).write("x", 1);
        EXPECT_EQ(qxtest::readFile(m_folder.path("ä")), "x");
        EXPECT_EQ(qxtest::readFile(m_folder.path("ö")), "x");
    }
    const qxtest::TestLocale latin("de_DE", "ISO-8859-1");
    if (!latin.isSet())
        GTEST_SKIP() << "the system cannot make the locale";
    const qx::String polish = name("") + u"/ł";
    for (const unsigned int mode : {FileOutputStream::TRUNC, FileOutputStream::APPEND})
        EXPECT_EQ(failureOf([&] { FileOutputStream(polish, mode); }),
                  qx::result::UnmappableCharacter);
    EXPECT_EQ(failureOf([&] { FileInputStream in(polish); }), qx::result::UnmappableCharacter);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("?")));
}

TEST_F(FileStream, ClosesOnlyHandlesThatItOwns) {
    const std::string path = m_folder.path("file");
    setContent("abc");
    const auto isOpen = [](int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; };
    const auto handleOf = [](int descriptor) { return static_cast<uint64_t>(descriptor); };
    const int borrowed = open(path.c_str(), O_RDWR | O_CLOEXEC);
    {
        FileInputStream in(handleOf(borrowed), false);
        in.close();
        EXPECT_EQ(in.read(), 'a');
        FileOutputStream out(handleOf(borrowed), false);
        out.close();
        EXPECT_EQ(out.is_open(), 1);
        write(out, "X");
    }
    EXPECT_TRUE(isOpen(borrowed));
    EXPECT_EQ(content(), "aXc");
    { FileInputStream in(handleOf(borrowed), true); }
    EXPECT_FALSE(isOpen(borrowed));

    const int owned = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    FileOutputStream out(handleOf(owned), true);
    out.close();
    EXPECT_FALSE(isOpen(owned));
}

TEST_F(FileStream, ReportsAFullDisk) {
    const qx::String full(u"/dev/full");
    for (const unsigned int mode : {0u, FileOutputStream::KEEPCLOSED, FileOutputStream::LOCK,
                                    FileOutputStream::APPEND | FileOutputStream::KEEPCLOSED}) {
        SCOPED_TRACE(mode);
        FileOutputStream out(full, mode);
        EXPECT_EQ(failureOf([&] { write(out, "x"); }), qx::result::DiskFull);
        // Neither the lock between processes nor the mutex stays behind.
        std::thread other([&] {
            FileOutputStream second(full, mode);
            EXPECT_EQ(failureOf([&] { write(second, "x"); }), qx::result::DiskFull);
            EXPECT_EQ(failureOf([&] { write(out, "x"); }), qx::result::DiskFull);
        });
        other.join();
        EXPECT_EQ(out.is_open(), (mode & FileOutputStream::KEEPCLOSED) != 0 ? 0 : 1);
    }
}

/// Writes to a file that may not grow beyond 60 bytes; arguments: file.
const ChildEntry limitedEntry("io.limited", [](const std::vector<std::string>& arguments) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{60, 60};
    setrlimit(RLIMIT_FSIZE, &limit);
    FileOutputStream out(qx::String::fromUtf8(arguments[0]), 0u);
    constexpr auto FileTooLarge = static_cast<int32_t>(0x800700DFu);
    const bool reported = failureOf([&] { write(out, std::string(100, 'x')); }) == FileTooLarge;
    return reported && out.getSize() == 60 ? 0 : 1;
});

TEST_F(FileStream, GoesOnAfterAShortWriteUntilTheFailureBehindIt) {
    EXPECT_EQ(ChildProcess("io.limited", {m_folder.path("file")}).join(), 0);
    EXPECT_EQ(content(), std::string(60, 'x'));
}

TEST_F(FileStream, ReportsAClosedPipeWithoutASignal) {
    Pipe pipe;
    FileOutputStream out(static_cast<uint64_t>(pipe.ends[1]), false);
    write(out, "x");
    pipe.closeReader();
    EXPECT_EQ(failureOf([&] { write(out, "x"); }), qx::result::BrokenPipe);
    EXPECT_EQ(failureOf([&] { write(out, "x"); }), qx::result::BrokenPipe);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_F(FileStream, GoesOnThroughInterruptionsAndShortWrites) {
    // Far more than a pipe holds, so that writes are cut short while the reader is slow.
    std::string sent(3'000'000, '\0');
    for (size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<char>(i * 7919 >> 8);
    Pipe pipe;
    const SignalStorm storm;
    std::string received;
    std::thread reader([&] {
        FileInputStream in(static_cast<uint64_t>(pipe.ends[0]), false);
        char bytes[10'000];
        for (int32_t count; (count = in.read(bytes, sizeof bytes)) >= 0;)
            received.append(bytes, static_cast<size_t>(count));
    });
    FileOutputStream out(static_cast<uint64_t>(pipe.ends[1]), false);
    write(out, sent);
    pipe.closeWriter();
    reader.join();
    EXPECT_TRUE(received == sent);
}

TEST_F(FileStream, WritersOfOneNameTakeTurnsHoweverTheyWriteIt) {
    FileOutputStream first(name(), FileOutputStream::APPEND);
    qx::String backslashes = name();
    backslashes.translate(u'/', u'\\');
    FileOutputStream second(backslashes, FileOutputStream::LOCK);
    std::atomic<bool> wrote = false;
    first.wait();
    first.wait(); // nests
    std::thread other([&] {
        write(second, "2");
        wrote = true;
    });
    write(first, "1");
    first.signal();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(wrote);
    first.signal();
    other.join();
    EXPECT_TRUE(wrote);
}

TEST_F(FileStream, HolderOfTheTurnIsNotBlockedByThreadsThatWaitForIt) {
    FileOutputStream out(name(), FileOutputStream::APPEND | FileOutputStream::KEEPCLOSED);
    out.wait();
    std::vector<std::jthread> others;
    for (int i = 0; i < 4; ++i)
        others.emplace_back([&out] { write(out, "b"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    write(out, "a");
    EXPECT_EQ(out.getSize(), 1);
    out.flush();
    out.close();
    out.open();
    out.signal();
    others.clear();
    EXPECT_EQ(content(), "abbbb");
}

TEST_F(FileStream, KeepClosedStreamServesManyThreads) {
    FileOutputStream out(name(), FileOutputStream::KEEPCLOSED | FileOutputStream::ATEND);
    constexpr int Threads = 4, Records = 50;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < Threads; ++i)
            threads.emplace_back([&out, i] {
                const std::string record(10, static_cast<char>('a' + i));
                for (int n = 0; n < Records; ++n) {
                    write(out, record + "\n");
                    out.getSize();
                    out.is_open();
                    out.getHandle();
                    out.flush();
                    out.close();
                }
            });
    }
    std::istringstream lines(content());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_EQ(line, std::string(10, line[0]));
    EXPECT_EQ(count, Threads * Records);
}

TEST_F(FileStream, OutOfItsModesWaitAndSignalDoNothing) {
    FileOutputStream out(name(), 0u);
    FileOutputStream locking(name(), FileOutputStream::LOCK);
    out.wait();
    std::thread([&] { locking.write("x", 1); }).join(); // hangs if out had taken the lock
    out.signal();
    out.signal();
    EXPECT_EQ(content(), "x");
}

} // namespace
