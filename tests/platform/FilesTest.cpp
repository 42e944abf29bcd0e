#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <pthread.h>
#include <pty.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <termios.h>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/files.h>
#include <qx/platform/replace.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace qxtest;
namespace fs = std::filesystem;

namespace {

using File = PlatformHandle<&QXFileClose>;

constexpr uint32_t Read = QX_FILE_READ, Write = QX_FILE_WRITE, Create = QX_FILE_CREATE;
constexpr QXHandle None = ~QXHandle{0};
constexpr auto NameTooLong = static_cast<int32_t>(0x800700CE);
constexpr int32_t Capacity = 4096;

int32_t write(QXHandle handle, const std::string& bytes) {
    int32_t written = -1;
    const int32_t result =
        QXFileWrite(handle, bytes.data(), static_cast<int32_t>(bytes.size()), &written);
    EXPECT_EQ(written, result < 0 ? 0 : static_cast<int32_t>(bytes.size()));
    return result;
}

/// The current folder, with `real/inner/`, a file `real/f` and links in it.
struct FilesTest : testing::Test {
    FilesTest() {
        fs::create_directories("real/inner");
        writeFile("real/f", "");
        fs::create_symlink("real", "link");
        fs::create_symlink("link/inner/../f", "chain"); // through a link, back up from its target
        fs::create_symlink("nowhere/x", "dangling");
        fs::create_symlink("loop2", "loop1");
        fs::create_symlink("loop1", "loop2");
    }

    int32_t open(const std::string& path, uint32_t flags, uint32_t mode = 0700) {
        m_file.reset();
        return QXFileOpen(path.c_str(), flags, mode, m_file.put());
    }
    std::string expand(const std::string& path, int32_t expected = result::Ok) {
        EXPECT_EQ(QXPathExpand(path.c_str(), m_buffer, Capacity), expected) << path;
        return m_buffer;
    }

    const CurrentFolder m_folder;
    const std::string m_root = m_folder.path();
    File m_file;
    char m_buffer[Capacity] = "";
};

// The classes over them read, write and place in every mode.
TEST_F(FilesTest, CallsRefuseWhatMakesNoSense) {
    for (const uint32_t flags :
         {0u, Create, uint32_t{QX_FILE_AT_END}, Read | QX_FILE_TRUNCATE, Read | QX_FILE_APPEND,
          Read | 1u, Write | QX_FILE_REGULAR, Write | QX_FILE_NEW, Write | 0x800u})
        EXPECT_EQ(open("file", flags), result::InvalidArgument) << flags;
    EXPECT_EQ(open("file", Write | Create, 01000), result::InvalidArgument);
    EXPECT_EQ(m_file.get(), None);
    expectEach(result::NotFound, {open("file", Write), open("", Read)});
    expectEach(result::AccessDenied, {open("real", Read), open("real", Write)});
    char byte = 0;
    int32_t count = 7;
    int64_t size = 7;
    for (const QXHandle handle :
         {None, QXHandle{0x7FFFFFFF}, QXHandle{1} << 33, QXHandle{5} << 32, QXHandle{1} << 31}) {
        expectEach(result::InvalidHandle,
                   {QXFileRead(handle, &byte, 1, &count), QXFileWrite(handle, &byte, 1, &count),
                    QXFileSeek(handle, 0, QX_FILE_FROM_START, &size), QXFileGetSize(handle, &size),
                    QXFileAvailable(handle, &count), QXFileFlush(handle), QXFileClose(handle)});
        expectEach(0, {count, QXFileIsTerminal(handle)});
    }
    expectEach(result::InvalidArgument,
               {QXFileRead(0, &byte, -1, &count), QXFileWrite(1, &byte, -1, &count),
                QXFileWriteAll(1, &byte, -1, &count)});
    expectEach(result::NullPointer, {QXFileOpen(nullptr, Read, 0700, m_file.put()),
                                     QXFileOpen("real/f", Read, 0700, nullptr)});
}

TEST_F(FilesTest, PositionSizeAndAvailableAgree) {
    constexpr int64_t Size = int64_t{5} << 30; // more than a count can say
    ASSERT_EQ(open("f", Read | Write | Create), result::Ok);
    fs::resize_file("f", Size);
    const std::tuple<int64_t, int32_t, int64_t, int32_t> cases[] = {
        // offset and origin; the position (-1: refused, it stays) and what is available from there
        {3, QX_FILE_FROM_START, 3, INT32_MAX},
        {2, QX_FILE_FROM_CURRENT, 5, INT32_MAX},
        {-7, QX_FILE_FROM_END, Size - 7, 7},
        {-Size, QX_FILE_FROM_CURRENT, -1, 7},
        {0, 3, -1, 7},
        {0, -1, -1, 7},
        {5, QX_FILE_FROM_END, Size + 5, 0}, // beyond the end
    };
    int64_t position, size = 0;
    int32_t available;
    for (const auto& [offset, origin, place, left] : cases) {
        SCOPED_TRACE(testing::Message() << offset << " from " << origin);
        EXPECT_EQ(QXFileSeek(m_file.get(), offset, origin, &(position = -1)),
                  place < 0 ? result::InvalidArgument : result::Ok);
        EXPECT_EQ(position, place);
        EXPECT_EQ(QXFileAvailable(m_file.get(), &(available = -1)), result::Ok);
        EXPECT_EQ(available, left);
    }
    EXPECT_EQ(QXFileGetSize(m_file.get(), &size), result::Ok);
    EXPECT_EQ(size, Size);
}

TEST(Pipes, AreWaitedForAndClosedOnesLeaveTheSignalsOfTheProgramAsTheyWere) {
    const timespec now{};
    sigset_t brokenPipe, previous;
    ::sigemptyset(&brokenPipe);
    ::sigaddset(&brokenPipe, SIGPIPE);
    for (const bool isSocket : {false, true}) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(isSocket ? ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends)
                           : ::pipe2(ends, O_NONBLOCK),
                  0);
        File reader(static_cast<QXHandle>(ends[0])), writer(static_cast<QXHandle>(ends[1]));
        EXPECT_EQ(QXFileFlush(writer.get()), result::Ok) << "though nothing can be made durable";
        int32_t count = -1;
        for (const std::string text : {"", "abc"}) {
            ASSERT_EQ(write(writer.get(), text), result::Ok);
            EXPECT_EQ(QXFileAvailable(reader.get(), &count), result::Ok);
            EXPECT_EQ(count, std::ssize(text));
        }
        const std::string sent(1 << 20, 'x'); // many times the capacity of a pipe
        std::jthread sender([&] {
            int32_t written = 0;
            for (int32_t left = 1 << 20; left > 0; left -= written)
                ASSERT_EQ(QXFileWrite(writer.get(), sent.data(), left, &written), result::Ok);
        });
        char buffer[1000];
        for (size_t left = sent.size() + 3; left > 0; left -= static_cast<size_t>(count))
            ASSERT_EQ(QXFileRead(reader.get(), buffer, 1000, &count), result::Ok);
        sender.join();
        reader.reset();
        EXPECT_EQ(write(writer.get(), "x"), result::BrokenPipe); // the default action kills
        ::pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous);
        EXPECT_EQ(write(writer.get(), "x"), result::BrokenPipe);
        EXPECT_EQ(::sigtimedwait(&brokenPipe, nullptr, &now), -1) << "ours must be taken back";
        ::pthread_kill(::pthread_self(), SIGPIPE);
        EXPECT_EQ(write(writer.get(), "x"), result::BrokenPipe);
        EXPECT_EQ(::sigtimedwait(&brokenPipe, nullptr, &now), SIGPIPE) << "the program's own stays";
        ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }
}

TEST_F(FilesTest, CreatesRenamesAndRemovesFilesOnly) {
    writeFile("b", "old");
    const auto createBeside = [this](const std::string& path, int32_t capacity = Capacity) {
        return QXFileCreateBeside(path.c_str(), 0600, m_buffer, capacity, m_file.put());
    };
    ASSERT_EQ(createBeside(m_root + "/b"), result::Ok);
    const std::string made = m_buffer;
    EXPECT_TRUE(made.starts_with(m_root + "/.b."));
    EXPECT_EQ(fs::status(made).permissions(), fs::perms(0600)); // private
    EXPECT_EQ(::fcntl(static_cast<int>(m_file.get()), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(write(m_file.get(), "new"), result::Ok);
    ASSERT_EQ(createBeside("b"), result::Ok);
    EXPECT_NE(made, m_buffer);
    EXPECT_EQ(QXFileRename(made.c_str(), "b"), result::Ok);
    EXPECT_EQ(readFile("b"), "new");
    // A name of the greatest length leaves no room for the additions; no character is cut in two.
    std::string longName;
    while (longName.size() < 254)
        longName += "ü";
    ASSERT_EQ(createBeside(longName), result::Ok);
    const auto created = fs::path(m_buffer).filename().string();
    EXPECT_LE(created.size(), 255u);
    EXPECT_EQ((created.find('.', 1) - 1) % 2, 0u);

    const auto before = std::distance(fs::directory_iterator("."), {});
    EXPECT_EQ(createBeside("b", 8), result::BufferTooSmall);
    EXPECT_EQ(createBeside("no/f"), result::NotFound);
    EXPECT_EQ(m_buffer[0], 0);
    EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), before) << "nothing is left behind";
    EXPECT_EQ(QXFileRemove("real"), result::AccessDenied);
    EXPECT_EQ(QXFileRemove("b"), result::Ok);
    expectEach(result::NotFound, {QXFileRemove("b"), QXFileRename("b", "c")});
}

TEST_F(FilesTest, ExpandsToAnAbsolutePathWithoutLinks) {
    fs::create_symlink(m_root + "/real", "absolute");
    const std::pair<std::string, std::string> cases[] = {
        {"//", "/"},
        {"/../../etc/.", "/etc"},
        {".", m_root},
        {"real//.\\inner/", m_root + "/real/inner"},
        {"real/../.../y/..", m_root + "/..."},
        {"link/no/such", m_root + "/real/no/such"},
        {"link/..", m_root}, // removed as text, before the link is looked at
        {"chain", m_root + "/real/f"},
        {"absolute/inner", m_root + "/real/inner"},
        {"dangling", m_root + "/nowhere/x"},
    };
    for (const auto& [path, expanded] : cases)
        EXPECT_EQ(expand(path), expanded) << path;
    expand("", result::NotFound);
    expand("loop1", static_cast<int32_t>(0x80070781));
    expand(std::string(4090, 'x'), NameTooLong); // with the current folder
    expectEach(result::BufferTooSmall,
               {QXPathExpand("/a", m_buffer, 0), QXPathExpand("/ab", m_buffer, 3),
                QXGetCurrentDirectory(m_buffer, static_cast<int32_t>(m_root.size()))});
    EXPECT_STREQ(m_buffer, "");
    expectEach(result::Ok,
               {QXPathExpand("/a", m_buffer, 3), QXGetCurrentDirectory(m_buffer, Capacity)});
    EXPECT_EQ(m_buffer, m_root);
    fs::current_path("real/inner");
    fs::remove(m_root + "/real/inner");
    expand("x", result::NotFound);
}

TEST_F(FilesTest, AMappedDriveStandsForItsFolder) {
    expand("q:\\f", result::NotFound);
    ASSERT_EQ(QXDriveMap('q', (m_root + "/real/").c_str()), result::Ok);
    for (const char* const path : {"Q:\\f", "q:/inner/../f", "q:f"})
        EXPECT_EQ(expand(path), m_root + "/real/f");
    EXPECT_EQ(expand("q:"), m_root + "/real");
    expand("r:\\f", result::NotFound);
    EXPECT_EQ(open("q:\\f", Read), result::Ok);
    ASSERT_EQ(QXDriveMap('Q', "/"), result::Ok); // replaces
    EXPECT_EQ(expand("q:\\etc"), "/etc");
    EXPECT_EQ(expand("q:"), "/");
    ASSERT_EQ(QXDriveMap('q', nullptr), result::Ok);
    expand("q:\\f", result::NotFound);
    expectEach(result::InvalidArgument, {QXDriveMap('1', "/"), QXDriveMap('q', "")});
    EXPECT_EQ(QXDriveMap('q', std::string(5000, 'x').c_str()), NameTooLong);
}

TEST_F(FilesTest, TheTemporaryFolderIsThatOfTheUser) {
    const std::string previous = fs::temp_directory_path();
    const std::pair<std::string, std::string> cases[] = {{m_root + "/real//", m_root + "/real"},
                                                         {"/", "/"},
                                                         {"", "/tmp"},
                                                         {"real", "/tmp"}, // relative
                                                         {m_root + "/real/f", "/tmp"}};
    for (const auto& [variable, expected] : cases) {
        ::setenv("TMPDIR", variable.c_str(), 1);
        EXPECT_EQ(QXGetTempDirectory(m_buffer, Capacity), result::Ok);
        EXPECT_EQ(m_buffer, expected);
    }
    ::setenv("TMPDIR", previous.c_str(), 1);
}

/// Reads six keys and prints each as "<number>". Arguments: the terminal, which becomes that of
/// this process, and what becomes its standard input.
const ChildEntry printKeys("printKeys", [](const auto& arguments) {
    ::setsid();
    ::dup2(::open(arguments.at(0).c_str(), O_RDWR), 1);
    ::dup2(::open(arguments.at(1).c_str(), O_RDWR | O_NOCTTY), 0);
    QXConsoleHoldKeys(1);
    ::dprintf(1, "ready");
    for (int i = 0; i < 6; ++i) {
        int32_t key = 0;
        if (QXConsoleReadKey(&key) < 0)
            return 1;
        ::dprintf(1, "<%d>", key);
    }
    return QXConsoleHoldKeys(0) == result::Ok && QXConsoleHoldKeys(0) == result::Fail ? 0 : 2;
});

TEST(Console, ReadsKeysWithoutEchoAndGivesTheTerminalBackAlsoWhenASignalEndsTheProcess) {
    for (const int signal : {0, SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        int user = -1, terminal = -1; // kept open, so that the modes outlive the child
        char name[64];
        ASSERT_EQ(::openpty(&user, &terminal, name, nullptr, nullptr), 0);
        const auto modes = [terminal] {
            termios mode{};
            ::tcgetattr(terminal, &mode);
            return mode.c_lflag;
        };
        const auto expectShown = [user](const std::string& text) {
            std::string shown;
            pollfd ready{user, POLLIN, 0};
            char unit;
            while (shown.size() < text.size() && ::poll(&ready, 1, 10'000) == 1 &&
                   ::read(user, &unit, 1) == 1)
                shown += unit;
            EXPECT_EQ(shown, text);
        };
        const tcflag_t before = modes();
        EXPECT_NE(before & ECHO, 0u);
        ChildProcess child("printKeys", {name, signal == SIGHUP ? name : "/dev/null"});
        expectShown("ready");
        EXPECT_NE(modes(), before);
        if (signal == 0) {
            // Control-C, control-Z and control-D are keys like any other; no line end is needed.
            EXPECT_EQ(::write(user, "a\x03\x1A\x04\x7F\xFF", 6), 6);
            expectShown("<97><3><26><4><8><255>");
        } else {
            ::kill(child.pid(), signal);
        }
        EXPECT_EQ(child.join(), -signal);
        EXPECT_EQ(modes(), before);
        ::close(terminal);
        ::close(user);
    }
}

const std::string Old = "old bytes", New = "the new bytes";

struct Replace : testing::Test {
    int32_t replace(QXFileState* state = nullptr) { return replaceAt(file, state); }
    int32_t replaceAt(const std::string& path, QXFileState* state = nullptr) {
        return QXFileReplace(path.c_str(), New.data(), std::ssize(New), 0666, state);
    }

    auto files() const { return std::distance(fs::directory_iterator(folder.path()), {}); }

    TemporaryFolder folder;
    const std::string file = folder.path("f.ini");
};

// INI files show what each of the calls leaves when it fails or the process is killed.
TEST_F(Replace, MakesAllBytesDurableBeforeTheNameAndTheNameAfterwards) {
    writeFile(file, Old);
    {
        FailingCalls calls;
        EXPECT_EQ(replace(), result::Ok);
        EXPECT_EQ(calls.calls(),
                  (std::vector<std::string>{"openat", "openat", "getxattr", "fchmod", "write",
                                            "futimens", "fsync", "renameat", "fsync"}));
        calls.setCoarse();
        EXPECT_EQ(replace(), result::Ok);
        EXPECT_EQ(readFile(file), New);
    }
    for (const bool isRenamed : {false, true}) {
        const FailingCalls failing(isRenamed ? 8 : 7, ENOSPC);
        QXFileState state;
        EXPECT_EQ(replace(&state), result::DiskFull);
        EXPECT_EQ(state.size != 0, isRenamed);
    }
}

TEST_F(Replace, LeavesWhatIsNoLeftoverOfADeadWriterOfThisFile) {
    QXFileReplacement* living = nullptr;
    QXHandle unused = 0;
    ASSERT_EQ(QXFileReplaceBegin(file.c_str(), 0666, &living, &unused), result::Ok);
    const std::string kept[] = {
        "f.ini",
        fs::path(QXFileReplaceAside(living)).filename(),
        ".f.ini.0123456789ABCDEF",     // no ending
        ".f.ini.0123456789abcdef.tmp", // not our digits
        ".f.ini.0123456789ABCDE.tmp",  // too few
        ".g.ini.0123456789ABCDEF.tmp", // of another file
        "f.ini.0123456789ABCDEF.tmp",  // not hidden
    };
    for (const auto& name : kept)
        writeFile(folder.path(name), Old);
    writeFile(folder.path(".f.ini.FEDCBA9876543210.tmp"), Old);
    EXPECT_TRUE(
        holdsInFork([&] { return QXFileReplaceCommit(living, nullptr) == result::NotOwner; }));
    EXPECT_EQ(replace(), result::Ok);
    EXPECT_EQ(files(), std::ssize(kept));
    for (const auto& name : kept)
        EXPECT_TRUE(fs::exists(folder.path(name))) << name;
    EXPECT_EQ(QXFileReplaceCommit(living, nullptr), result::Ok);
}

TEST_F(Replace, WritersWithoutALockLeaveEachOtherAlone) {
    inThreads(4, [this](int) {
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(replace(), result::Ok);
    });
    EXPECT_EQ(files(), 1);
}

// INI files follow links and keep modes as well.
TEST_F(Replace, CreatesWhatALinkLeadsToWithinTheUmask) {
    const mode_t umask = ::umask(027);
    fs::create_directory(folder.path("sub"));
    fs::create_symlink("sub/hop", file);
    fs::create_symlink(folder.path("sub/real"), folder.path("sub/hop"));
    EXPECT_EQ(replace(), result::Ok);
    ::umask(umask);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
    EXPECT_EQ(fs::read_symlink(file), "sub/hop");
    EXPECT_TRUE(fs::is_symlink(folder.path("sub/hop")));
    EXPECT_EQ(readFile(folder.path("sub/real")), New);
}

TEST_F(Replace, KeepsAnAccessListTakesNoneFromTheFolderAndLetsNobodyMoreIn) {
    constexpr auto Name = "system.posix_acl_access";
    // A version; tags with rights, and identifiers: owner, a user, group, most for these, others.
    const uint32_t list[] = {2, 0x60001, ~0u, 0x60002, 7, 4, ~0u, 0x60010, ~0u, 0x60020, ~0u};
    const uint32_t named[] = {2,   0x60001, ~0u, 0x60002, 7,   0x60002, 9,  4,
                              ~0u, 8,       9,   0x60010, ~0u, 0x60020, ~0u};
    uint32_t found[std::size(named)] = {};
    writeFile(file, Old);
    ::setxattr(folder.path().c_str(), "system.posix_acl_default", list, sizeof list, 0);
    EXPECT_EQ(replace() + ::getxattr(file.c_str(), Name, found, sizeof found), -1);
    const bool isKept = ::setxattr(file.c_str(), Name, list, sizeof list, 0) == 0; // or unknown
    EXPECT_EQ((FailingCalls(3, ENOMEM), replace()), result::OutOfMemory);
    // One of the two calls that read it fails as when it grows between them.
    const FailingCalls calls(isKept ? 3 : FailingCalls::Never, ERANGE);
    EXPECT_EQ(replace() + ::getxattr(file.c_str(), Name, found, sizeof found), isKept ? 44 : -1);
    EXPECT_EQ(std::equal(std::begin(list), std::end(list), found), isKept);
    // User 7 replaces what belongs to user and group 9, first with the list, which then names them.
    fs::permissions(folder.path(), fs::perms(0777));
    for (const int mode : {0666, 0600}) {
        if (!isKept || ::chown(file.c_str(), 9, 9) != 0)
            GTEST_SKIP() << "without lists or the superuser";
        inThreads(1, [&](int) { EXPECT_EQ((::setfsgid(7), ::setfsuid(7), replace()), 0); });
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(mode));
        ::getxattr(file.c_str(), Name, found, sizeof found);
        ::removexattr(file.c_str(), Name);
        ::chmod(file.c_str(), mode == 0600 ? 06711 : 0606); // shuts the group out
    }
    inThreads(1, [&](int) { EXPECT_EQ((::setfsgid(7), ::setfsuid(7), replace()), 0); });
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(06711));
    EXPECT_TRUE(std::ranges::equal(found, named));
    inThreads(1, [&](int) { EXPECT_EQ((::setfsuid(8), replace()), result::AccessDenied); });
}

TEST_F(Replace, RefusesWhatItCannotReplace) {
    fs::create_symlink("loop", folder.path("loop"));
    EXPECT_EQ(replaceAt(folder.path("loop")), static_cast<int32_t>(0x80070781));
    expectEach(result::AccessDenied, {replaceAt(folder.path()), replaceAt("/dev/null")});
    expectEach(result::NotFound,
               {replaceAt(folder.path("no/f")), replaceAt(""), replaceAt(file + "/")});
    const auto give = [this](const char* bytes, int64_t length, uint32_t mode) {
        return QXFileReplace(file.c_str(), bytes, length, mode, nullptr);
    };
    expectEach(result::NullPointer,
               {QXFileReplace(nullptr, "", 0, 0666, nullptr), give(nullptr, 1, 0666),
                QXFileReplaceCommit(nullptr, nullptr)});
    expectEach(result::InvalidArgument, {give("", -1, 0666), give("", 0, 01666)});
    EXPECT_EQ(files(), 1);
}

// By time alone: a removed file's inode comes back. INI files show when a state is trusted. Some
// file systems keep two seconds.
TEST_F(Replace, EveryReplacementGivesAnotherState) {
    QXFileState previous = {}, state, seen;
    for (int i = 0; i < 40; ++i) {
        FailingCalls calls;
        calls.setCoarse(i % 4 > 0);
        ASSERT_EQ(replace(&state) + QXFileGetState(file.c_str(), &seen), result::Ok);
        ASSERT_EQ(std::memcmp(&state, &seen, sizeof state), 0);
        ASSERT_GT(state.modified, previous.modified);
        previous = state;
    }
    fs::last_write_time(file, fs::file_time_type::clock::now() + std::chrono::hours(1000));
    ASSERT_EQ(QXFileGetState(file.c_str(), &previous) + replace(&state), result::Ok);
    EXPECT_EQ(QXFileIsStateSettled(&state), 0) << "it may yet be given again";
    EXPECT_EQ(state.modified, previous.modified + 1) << "after a file from the future";
    for (const time_t last : {INT64_C(0x7FFFFFFE), INT64_C(10'000'000'000)}) {
        FailingCalls calls;
        calls.setCoarse(last <= INT32_MAX); // else beyond 64 bits of nanoseconds
        const timespec far[] = {{0, UTIME_NOW}, {last, 0}};
        ::utimensat(AT_FDCWD, file.c_str(), far, 0);
        EXPECT_FALSE(QXFileGetState(file.c_str(), &seen) || QXFileIsStateSettled(&seen));
        ASSERT_EQ(replace(&previous) + replace(&state), result::Ok);
        EXPECT_GT(state.modified, previous.modified) << "after a file that has no later one";
    }
    state.modified = 9'000'000'000'010'000'000;
    EXPECT_EQ(QXFileIsReplacedStateSettled(&state), 0) << "there are steps of 10 ms";
    EXPECT_EQ(QXFileGetState(folder.path("none").c_str(), &seen), result::NotFound);
    EXPECT_EQ(seen.size + seen.modified, 0);
}

} // namespace
