#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/files.h>
#include <qx/platform/result.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace qx;
using qxtest::readFile;
using qxtest::writeFile;

using File = PlatformHandle<&QXFileClose>;

constexpr uint32_t Read = QX_FILE_READ;
constexpr uint32_t Write = QX_FILE_WRITE;
constexpr uint32_t AtEnd = QX_FILE_AT_END;
constexpr uint32_t Create = QX_FILE_CREATE;
constexpr uint32_t Truncate = QX_FILE_TRUNCATE;
constexpr uint32_t Append = QX_FILE_APPEND;
constexpr uint32_t OwnerOnly = 0700;
constexpr QXHandle None = ~QXHandle{0};

int32_t open(File& file, const std::string& path, uint32_t flags) {
    return QXFileOpen(path.c_str(), flags, OwnerOnly, file.put());
}

int32_t write(QXHandle handle, const std::string& bytes) {
    int32_t written = -1;
    const int32_t result =
        QXFileWrite(handle, bytes.data(), static_cast<int32_t>(bytes.size()), &written);
    EXPECT_EQ(written, result < 0 ? 0 : static_cast<int32_t>(bytes.size()));
    return result;
}

std::string read(QXHandle handle, int32_t length) {
    std::string bytes(static_cast<size_t>(length), 0);
    int32_t count = -1;
    EXPECT_EQ(QXFileRead(handle, bytes.data(), length, &count), result::Ok);
    bytes.resize(static_cast<size_t>(count));
    return bytes;
}

class FilesTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return m_folder.path(name); }

private:
    qxtest::TemporaryFolder m_folder;
};

TEST_F(FilesTest, OpenFollowsItsFlagsOnOldAndNewFiles) {
    const struct {
        uint32_t flags;
        int32_t onMissing;
        const char* oldAfterWrite; // "12345" with "ab" written over it; null: cannot write
    } cases[] = {
        {Read, result::NotFound, nullptr},
        {Read | AtEnd, result::NotFound, nullptr},
        {Read | Create, result::Ok, nullptr},
        {Write, result::NotFound, "ab345"},
        {Write | AtEnd, result::NotFound, "12345ab"},
        {Write | Create, result::Ok, "ab345"},
        {Write | Create | AtEnd, result::Ok, "12345ab"},
        {Write | Truncate, result::NotFound, "ab"},
        {Write | Create | Truncate, result::Ok, "ab"},
        {Read | Write | Create | Truncate | AtEnd, result::Ok, "ab"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        const std::string missing = path("missing");
        {
            File file;
            EXPECT_EQ(open(file, missing, c.flags), c.onMissing);
        }
        EXPECT_EQ(std::filesystem::exists(missing), c.onMissing == result::Ok);
        std::filesystem::remove(missing);

        const std::string old = path("old");
        writeFile(old, "12345");
        File file;
        ASSERT_EQ(open(file, old, c.flags), result::Ok);
        if (c.oldAfterWrite != nullptr) {
            EXPECT_EQ(write(file.get(), "ab"), result::Ok);
            EXPECT_EQ(readFile(old), c.oldAfterWrite);
        } else {
            EXPECT_EQ(write(file.get(), "ab"), result::InvalidHandle);
        }
    }
}

TEST_F(FilesTest, OpenRefusesWhatMakesNoSense) {
    const std::string name = path("file");
    const uint32_t badFlags[] = {0,         Create,        AtEnd, Read | Truncate, Read | Append,
                                 Read | 1u, Write | 0x800u};
    for (const uint32_t flags : badFlags) {
        QXHandle handle = 7;
        EXPECT_EQ(QXFileOpen(name.c_str(), flags, OwnerOnly, &handle), result::InvalidArgument);
        EXPECT_EQ(handle, None);
    }
    QXHandle handle = 7;
    EXPECT_EQ(QXFileOpen(name.c_str(), Write | Create, 01000, &handle), result::InvalidArgument);
    EXPECT_EQ(QXFileOpen(nullptr, Read, OwnerOnly, &handle), result::NullPointer);
    EXPECT_EQ(handle, None);
    EXPECT_EQ(QXFileOpen(name.c_str(), Read, OwnerOnly, nullptr), result::NullPointer);
    EXPECT_EQ(QXFileOpen("", Read, OwnerOnly, &handle), result::NotFound);
    EXPECT_EQ(QXFileOpen(path("").c_str(), Read, OwnerOnly, &handle), result::AccessDenied);
    EXPECT_EQ(QXFileOpen(path("").c_str(), Write, OwnerOnly, &handle), result::AccessDenied);
    EXPECT_EQ(QXFileOpen(std::string(5000, 'x').c_str(), Read, OwnerOnly, &handle),
              static_cast<int32_t>(0x800700CE));
    EXPECT_FALSE(std::filesystem::exists(name));
}

TEST_F(FilesTest, PositionSizeAndAvailableAgree) {
    File file;
    ASSERT_EQ(open(file, path("f"), Read | Write | Create), result::Ok);
    ASSERT_EQ(write(file.get(), "0123456789"), result::Ok);
    const struct {
        int64_t offset;
        int32_t origin;
        int64_t position; // -1: refused, the position stays
        int32_t available;
    } cases[] = {
        {3, QX_FILE_FROM_START, 3, 7},
        {2, QX_FILE_FROM_CURRENT, 5, 5},
        {-1, QX_FILE_FROM_END, 9, 1},
        {-10, QX_FILE_FROM_CURRENT, -1, 1},
        {0, 3, -1, 1},
        {0, -1, -1, 1},
        {0, QX_FILE_FROM_END, 10, 0},
        {5, QX_FILE_FROM_END, 15, 0}, // beyond the end
        {int64_t{1} << 33, QX_FILE_FROM_START, int64_t{1} << 33, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.offset);
        int64_t position = -1;
        EXPECT_EQ(QXFileSeek(file.get(), c.offset, c.origin, &position),
                  c.position < 0 ? result::InvalidArgument : result::Ok);
        EXPECT_EQ(position, c.position);
        int32_t available = -1;
        EXPECT_EQ(QXFileAvailable(file.get(), &available), result::Ok);
        EXPECT_EQ(available, c.available);
    }
    int64_t size = 0;
    EXPECT_EQ(QXFileGetSize(file.get(), &size), result::Ok);
    EXPECT_EQ(size, 10);

    // More than a count can say.
    ASSERT_EQ(::truncate(path("f").c_str(), off_t{5} << 30), 0);
    EXPECT_EQ(QXFileSeek(file.get(), 0, QX_FILE_FROM_START, nullptr), result::Ok);
    int32_t available = 0;
    EXPECT_EQ(QXFileAvailable(file.get(), &available), result::Ok);
    EXPECT_EQ(available, INT32_MAX);
    EXPECT_EQ(QXFileGetSize(file.get(), &size), result::Ok);
    EXPECT_EQ(size, int64_t{5} << 30);
}

TEST(Files, EveryCallRefusesAHandleThatIsNone) {
    char byte = 0;
    int32_t count = 7;
    int64_t size = 7;
    for (const QXHandle handle :
         {None, QXHandle{0x7FFFFFFF}, QXHandle{1} << 33, QXHandle{3} << 32, QXHandle{1} << 31}) {
        EXPECT_EQ(QXFileRead(handle, &byte, 1, &count), result::InvalidHandle);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(QXFileWrite(handle, &byte, 1, &count), result::InvalidHandle);
        EXPECT_EQ(QXFileSeek(handle, 0, QX_FILE_FROM_START, &size), result::InvalidHandle);
        EXPECT_EQ(QXFileGetSize(handle, &size), result::InvalidHandle);
        EXPECT_EQ(QXFileAvailable(handle, &count), result::InvalidHandle);
        EXPECT_EQ(QXFileFlush(handle), result::InvalidHandle);
        EXPECT_EQ(QXFileClose(handle), result::InvalidHandle);
        EXPECT_EQ(QXFileIsTerminal(handle), 0);
    }
    EXPECT_EQ(QXFileRead(0, &byte, -1, &count), result::InvalidArgument);
    EXPECT_EQ(QXFileWrite(1, &byte, -1, &count), result::InvalidArgument);
}

TEST(Files, FlushAcceptsWhatCannotBeMadeDurable) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const File reader(static_cast<QXHandle>(ends[0])), writer(static_cast<QXHandle>(ends[1]));
    EXPECT_EQ(QXFileFlush(writer.get()), result::Ok);
    File null;
    ASSERT_EQ(open(null, "/dev/null", Write), result::Ok);
    EXPECT_EQ(QXFileFlush(null.get()), result::Ok);
}

struct Pipe {
    File reader, writer;

    explicit Pipe(bool isSocket = false) {
        int ends[2];
        if ((isSocket ? ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends)
                      : ::pipe2(ends, O_CLOEXEC)) != 0)
            throw std::runtime_error("no pipe");
        reader = File(static_cast<QXHandle>(ends[0]));
        writer = File(static_cast<QXHandle>(ends[1]));
    }
};

TEST(Pipes, AvailableCountsWhatWaits) {
    for (const bool isSocket : {false, true}) {
        const Pipe pipe(isSocket);
        int32_t available = -1;
        EXPECT_EQ(QXFileAvailable(pipe.reader.get(), &available), result::Ok);
        EXPECT_EQ(available, 0);
        ASSERT_EQ(write(pipe.writer.get(), "abc"), result::Ok);
        EXPECT_EQ(QXFileAvailable(pipe.reader.get(), &available), result::Ok);
        EXPECT_EQ(available, 3);
        EXPECT_EQ(read(pipe.reader.get(), 10), "abc"); // a short read is no end
    }
}

bool brokenPipeSignalPending() {
    sigset_t pending;
    ::sigpending(&pending);
    return ::sigismember(&pending, SIGPIPE) == 1;
}

TEST_F(FilesTest, AClosedReaderIsAResultAndLeavesTheSignalsOfTheProgramAsTheyWere) {
    sigset_t brokenPipe, previous;
    ::sigemptyset(&brokenPipe);
    ::sigaddset(&brokenPipe, SIGPIPE);
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    Pipe pipe, socket(true);
    File reader(static_cast<QXHandle>(::open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK)));
    File named;
    ASSERT_EQ(open(named, path("pipe"), Write), result::Ok);
    for (File* each : {&reader, &pipe.reader, &socket.reader})
        *each = File();
    for (const File* writer : {&pipe.writer, &socket.writer, &named}) {
        EXPECT_EQ(write(writer->get(), "x"), result::BrokenPipe); // the default action kills
        ::pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous);
        EXPECT_EQ(write(writer->get(), "x"), result::BrokenPipe);
        EXPECT_FALSE(brokenPipeSignalPending()) << "ours must be taken back";
        ::pthread_kill(::pthread_self(), SIGPIPE);
        EXPECT_EQ(write(writer->get(), "x"), result::BrokenPipe);
        EXPECT_TRUE(brokenPipeSignalPending()) << "the program's own must stay";
        const timespec now{};
        ::sigtimedwait(&brokenPipe, nullptr, &now);
        ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }
}

TEST(Pipes, NonBlockingDescriptorsAreWaitedFor) {
    const Pipe pipe;
    ::fcntl(static_cast<int>(pipe.reader.get()), F_SETFL, O_NONBLOCK);
    ::fcntl(static_cast<int>(pipe.writer.get()), F_SETFL, O_NONBLOCK);
    const std::string sent(1 << 20, 'x'); // many times the capacity of a pipe
    std::jthread sender([&] {
        int32_t count = 0;
        for (int32_t left = 1 << 20; left > 0; left -= count) {
            ASSERT_EQ(QXFileWrite(pipe.writer.get(), sent.data(), left, &count), result::Ok);
            ASSERT_GT(count, 0);
        }
    });
    size_t received = 0;
    while (received < sent.size())
        received += read(pipe.reader.get(), 1000).size();
    EXPECT_EQ(received, sent.size());
}

/// Opens a file after closing standard output: 0 when the file did not take its place.
const qxtest::ChildEntry openWithoutStreams("openWithoutStreams", [](const auto& arguments) {
    ::close(0);
    ::close(1);
    QXHandle handle = None;
    if (QXFileOpen(arguments.at(0).c_str(), Write | Create, OwnerOnly, &handle) < 0)
        return 1;
    const bool isFree = ::fcntl(0, F_GETFD) < 0 && ::fcntl(1, F_GETFD) < 0;
    const auto descriptor = static_cast<int>(handle);
    const bool closesOnExec = ::fcntl(descriptor, F_GETFD) == FD_CLOEXEC;
    return descriptor > 2 && isFree && closesOnExec ? 0 : 2;
});

TEST_F(FilesTest, AFileNeverBecomesAStandardStream) {
    EXPECT_EQ(qxtest::ChildProcess("openWithoutStreams", {path("f")}).join(), 0);
}

TEST_F(FilesTest, RemovesAndRenamesFilesOnly) {
    writeFile(path("a"), "new");
    writeFile(path("b"), "old");
    std::filesystem::create_directory(path("folder"));
    EXPECT_EQ(QXFileRename(path("a").c_str(), path("b").c_str()), result::Ok);
    EXPECT_EQ(readFile(path("b")), "new");
    EXPECT_EQ(QXFileRename(path("a").c_str(), path("b").c_str()), result::NotFound);
    EXPECT_EQ(QXFileRemove(path("folder").c_str()), result::AccessDenied);
    EXPECT_EQ(QXFileRemove(path("b").c_str()), result::Ok);
    EXPECT_EQ(QXFileRemove(path("b").c_str()), result::NotFound);
}

TEST_F(FilesTest, CreatesPrivateFilesBesideAnother) {
    const mode_t previous = ::umask(0);
    File first, second;
    char firstName[4096], secondName[4096];
    const std::string beside = path("setup.ini");
    const auto create = [](const std::string& path, auto& name, File& file) {
        return QXFileCreateBeside(path.c_str(), 0600, name, sizeof name, file.put());
    };
    ASSERT_EQ(create(beside, firstName, first), result::Ok);
    ASSERT_EQ(create(beside, secondName, second), result::Ok);
    ::umask(previous);
    EXPECT_STRNE(firstName, secondName);
    EXPECT_TRUE(std::string(firstName).starts_with(path(".setup.ini.")));
    EXPECT_EQ(std::filesystem::status(firstName).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(::fcntl(static_cast<int>(first.get()), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(write(first.get(), "x"), result::Ok);
    EXPECT_EQ(readFile(firstName), "x");

    // A name of the greatest length leaves no room for the additions; no character is cut in two.
    std::string longName;
    while (longName.size() < 254)
        longName += "ü";
    ASSERT_EQ(create(path(longName), firstName, first), result::Ok);
    const auto created = std::filesystem::path(firstName).filename().string();
    EXPECT_LE(created.size(), 255u);
    EXPECT_EQ((created.find('.', 1) - 1) % 2, 0u);

    char tooShort[8] = "#######";
    EXPECT_EQ(create(beside, tooShort, second), result::BufferTooSmall);
    EXPECT_EQ(tooShort[0], 0);
    EXPECT_EQ(create(path("no/f"), firstName, second), result::NotFound);
    EXPECT_EQ(firstName[0], 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path("")), {}), 3)
        << "a refused call leaves nothing behind";
}

} // namespace
