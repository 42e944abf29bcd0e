#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/files.h>
#include <qx/platform/result.h>

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
        const char* oldAfterWrite; // "12345" with "ab" written over it
    } cases[] = {
        {Read, result::NotFound, "12345"},
        {Read | AtEnd, result::NotFound, "12345"},
        {Read | Create, result::Ok, "12345"},
        {Write, result::NotFound, "ab345"},
        {Write | AtEnd, result::NotFound, "12345ab"},
        {Write | Create, result::Ok, "ab345"},
        {Write | Truncate, result::NotFound, "ab"},
        {Read | Write | Create | Truncate | AtEnd, result::Ok, "ab"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        std::filesystem::remove(path("new"));
        writeFile(path("old"), "12345");
        File file;
        EXPECT_EQ(open(file, path("new"), c.flags), c.onMissing);
        EXPECT_EQ(std::filesystem::exists(path("new")), c.onMissing == result::Ok);
        ASSERT_EQ(open(file, path("old"), c.flags), result::Ok);
        EXPECT_EQ(write(file.get(), "ab"), c.flags & Write ? result::Ok : result::InvalidHandle);
        EXPECT_EQ(readFile(path("old")), c.oldAfterWrite);
    }
}

TEST_F(FilesTest, OpenRefusesWhatMakesNoSense) {
    const std::string name = path("file"), longName(5000, 'x');
    QXHandle handle = 7;
    for (const uint32_t flags :
         {0u, Create, AtEnd, Read | Truncate, Read | Append, Read | 1u, Write | 0x800u}) {
        EXPECT_EQ(QXFileOpen(name.c_str(), flags, OwnerOnly, &handle), result::InvalidArgument);
        EXPECT_EQ(std::exchange(handle, 7u), None);
    }
    EXPECT_EQ(QXFileOpen(name.c_str(), Write | Create, 01000, &handle), result::InvalidArgument);
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(QXFileOpen(nullptr, Read, OwnerOnly, &handle), result::NullPointer);
    EXPECT_EQ(QXFileOpen(name.c_str(), Read, OwnerOnly, nullptr), result::NullPointer);
    File file;
    EXPECT_EQ(open(file, "", Read), result::NotFound);
    EXPECT_EQ(open(file, path(""), Read), result::AccessDenied);
    EXPECT_EQ(open(file, path(""), Write), result::AccessDenied);
    EXPECT_EQ(open(file, longName, Read), static_cast<int32_t>(0x800700CE));
}

TEST_F(FilesTest, PositionSizeAndAvailableAgree) {
    constexpr int64_t Size = int64_t{5} << 30; // more than a count can say
    File file;
    ASSERT_EQ(open(file, path("f"), Read | Write | Create), result::Ok);
    std::filesystem::resize_file(path("f"), Size);
    const struct {
        int64_t offset;
        int32_t origin;
        int64_t position; // -1: refused, the position stays
        int32_t available;
    } cases[] = {
        {3, QX_FILE_FROM_START, 3, INT32_MAX},
        {2, QX_FILE_FROM_CURRENT, 5, INT32_MAX},
        {-7, QX_FILE_FROM_END, Size - 7, 7},
        {2, QX_FILE_FROM_CURRENT, Size - 5, 5},
        {-Size, QX_FILE_FROM_CURRENT, -1, 5},
        {0, 3, -1, 5},
        {0, -1, -1, 5},
        {0, QX_FILE_FROM_END, Size, 0},
        {5, QX_FILE_FROM_END, Size + 5, 0}, // beyond the end
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        int64_t position = -1;
        EXPECT_EQ(QXFileSeek(file.get(), c.offset, c.origin, &position),
                  c.position < 0 ? result::InvalidArgument : result::Ok);
        EXPECT_EQ(position, c.position);
        int32_t available = -1;
        EXPECT_EQ(QXFileAvailable(file.get(), &available), result::Ok);
        EXPECT_EQ(available, c.available);
    }
    EXPECT_EQ(QXFileSeek(file.get(), 0, QX_FILE_FROM_START, nullptr), result::Ok);
    int64_t size = 0;
    EXPECT_EQ(QXFileGetSize(file.get(), &size), result::Ok);
    EXPECT_EQ(size, Size);
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

struct Pipe {
    File reader, writer;

    explicit Pipe(bool isSocket = false) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(isSocket ? ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends)
                           : ::pipe2(ends, O_CLOEXEC),
                  0);
        reader = File(static_cast<QXHandle>(ends[0]));
        writer = File(static_cast<QXHandle>(ends[1]));
    }
};

bool brokenPipeSignalPending() {
    sigset_t pending;
    ::sigpending(&pending);
    return ::sigismember(&pending, SIGPIPE) == 1;
}

TEST(Pipes, AClosedReaderIsAResultAndLeavesTheSignalsOfTheProgramAsTheyWere) {
    sigset_t brokenPipe, previous;
    ::sigemptyset(&brokenPipe);
    ::sigaddset(&brokenPipe, SIGPIPE);
    for (const bool isSocket : {false, true}) {
        Pipe pipe(isSocket);
        const QXHandle writer = pipe.writer.get();
        EXPECT_EQ(QXFileFlush(writer), result::Ok) << "though nothing can be made durable";
        int32_t available = -1;
        for (const std::string text : {"", "abc"}) {
            ASSERT_EQ(write(writer, text), result::Ok);
            EXPECT_EQ(QXFileAvailable(pipe.reader.get(), &available), result::Ok);
            EXPECT_EQ(available, std::ssize(text));
        }
        EXPECT_EQ(read(pipe.reader.get(), 10), "abc"); // a short read is no end
        pipe.reader.reset();
        EXPECT_EQ(write(writer, "x"), result::BrokenPipe); // the default action kills
        ::pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous);
        EXPECT_EQ(write(writer, "x"), result::BrokenPipe);
        EXPECT_FALSE(brokenPipeSignalPending()) << "ours must be taken back";
        ::pthread_kill(::pthread_self(), SIGPIPE);
        EXPECT_EQ(write(writer, "x"), result::BrokenPipe);
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

TEST_F(FilesTest, AFileNeverBecomesAStandardStream) {
    const int saved = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
    ::close(0);
    File file;
    EXPECT_EQ(open(file, path("f"), Write | Create), result::Ok);
    EXPECT_GT(file.get(), 2u);
    EXPECT_EQ(::fcntl(static_cast<int>(file.get()), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(::fcntl(0, F_GETFD), -1) << "what was in between is closed";
    ::dup2(saved, 0);
    ::close(saved);
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
    File first, second;
    char firstName[4096], secondName[4096];
    const std::string beside = path("setup.ini");
    const auto create = [](const std::string& path, auto& name, File& file) {
        return QXFileCreateBeside(path.c_str(), 0600, name, sizeof name, file.put());
    };
    ASSERT_EQ(create(beside, firstName, first), result::Ok);
    ASSERT_EQ(create(beside, secondName, second), result::Ok);
    EXPECT_STRNE(firstName, secondName);
    EXPECT_TRUE(std::string(firstName).starts_with(path(".setup.ini.")));
    EXPECT_EQ(std::filesystem::status(firstName).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(::fcntl(static_cast<int>(first.get()), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(write(first.get(), "x"), result::Ok);

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
