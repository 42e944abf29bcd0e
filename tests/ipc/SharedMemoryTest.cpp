#include <cerrno>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <qx/qx.h>

#include "tests/ipc/Party.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/RefusedCall.h"

using namespace qx;
using namespace qxtest;
using namespace qx::ipc;

namespace {

constexpr uint32_t Read = 0x80000000;
constexpr uint32_t Write = 0x40000000;
constexpr uint32_t Create = QX_SHAREDMEM_CREATE;
constexpr uint32_t Exclusive = QX_SHAREDMEM_EXCLUSIVE;
constexpr uint32_t ReadOnly = QX_SHAREDMEM_READ_ONLY;

/// Result of opening; what was opened is closed again.
int32_t openResult(const std::string& name, uint32_t flags, uint32_t permissions, uint32_t size) {
    QXHandle handle = 0;
    const int32_t r = QXSharedMemOpen(name.c_str(), flags, permissions, size, &handle);
    EXPECT_EQ(r < 0, handle == UINT64_MAX);
    if (r >= 0)
        QXSharedMemClose(handle);
    return r;
}

/// Opens the block of the first argument and adds 1 to its first byte; dies with it when there is a
/// second argument.
const ChildEntry incrementer("memory-incrementer", [](const auto& arguments) {
    const SharedMemory memory(arguments[0].c_str(), 1, Create, 0);
    ++*static_cast<unsigned char*>(memory.get());
    if (arguments.size() > 1)
        raise(SIGKILL);
    return 0;
});

TEST(SharedMemory, IsOneBlockForAllWhoOpenItAndGoneWithTheLast) {
    const std::string name = uniqueName("block/1");
    {
        const SharedMemory memory(name.c_str(), 3, Create, 0);
        auto* bytes = static_cast<unsigned char*>(memory.get());
        EXPECT_EQ(bytes[0] + bytes[1] + bytes[2], 0);
        bytes[0] = 41;
        EXPECT_EQ(ChildProcess("memory-incrementer", {name}).join(), 0);
        EXPECT_EQ(bytes[0], 42);
        EXPECT_EQ(ChildProcess("memory-incrementer", {name, "die"}).join(), -SIGKILL);
        EXPECT_EQ(bytes[0], 43);
        const SharedMemory again(name.c_str(), 0, 0, 0);
        EXPECT_NE(again.get(), memory.get());
        EXPECT_EQ(std::memcmp(again, memory, 3), 0);
    }
    for (int i = 0; i < 2; ++i) { // one who was killed leaves nothing to the next
        EXPECT_EQ(openResult(name, 0, 0, 0), result::NotFound);
        EXPECT_EQ(ChildProcess("memory-incrementer", {name, "die"}).join(), -SIGKILL);
    }
    const SharedMemory fresh(name.c_str(), 5000, Create | Exclusive, 0);
    const auto* bytes = static_cast<unsigned char*>(fresh.get());
    expectEach(0, {bytes[0], bytes[4999]});
}

TEST(SharedMemory, OpensByTheRules) {
    const std::string there = uniqueName("there");
    const std::string missing = uniqueName("missing");
    const SharedMemory memory(there.c_str(), 4097, Create, 0);
    const std::tuple<std::string, uint32_t, uint32_t, uint32_t, int32_t> cases[] = {
        // name, flags, permissions, size; result
        {there, 0, 0, 0, result::Ok},
        {there, 0, 0, 4098, result::InvalidArgument}, // though the page would have room
        {there, Create, 0, 1, result::Ok},
        {there, Create, 0, 5000, result::InvalidArgument},
        {there, Create | Exclusive, 0, 4097, result::FileExists},
        {there, ReadOnly, 0, 0, result::Ok},
        {there, 0, 0066, 0, result::NotFound}, // the common name space is another
        {missing, 0, 0, 1, result::NotFound},
        {missing, Create | Exclusive, 0066, 1, result::Ok},
        {missing, Create, 0, 0, result::InvalidArgument},
        {missing, Exclusive, 0, 1, result::InvalidArgument},
        {missing, Create | ReadOnly, 0, 1, result::InvalidArgument},
        {missing, 8, 0, 1, result::InvalidArgument},
        {missing, Create, 0111, 1, result::InvalidArgument},
        {missing, Create, 01000, 1, result::InvalidArgument},
    };
    for (const auto& [name, flags, permissions, size, expected] : cases) {
        SCOPED_TRACE(testing::PrintToString(std::tuple(name, flags, permissions, size)));
        EXPECT_EQ(openResult(name, flags, permissions, size), expected);
        EXPECT_EQ(filesNamed(missing), 0);
    }
    EXPECT_EQ(openResult("", Create, 0, 1), result::InvalidArgument);
    EXPECT_EQ(QXSharedMemOpen(there.c_str(), 0, 0, 0, nullptr), result::NullPointer);
}

TEST(SharedMemory, AttachesAndDetachesByTheRules) {
    const std::string name = uniqueName("block");
    QXHandle handle = 0;
    ASSERT_EQ(QXSharedMemOpen(name.c_str(), Create, 0, 10, &handle), result::Ok);
    void* address = &handle;
    expectEach(result::InvalidArgument, {QXSharedMemAttach(handle, 0, &address),
                                         QXSharedMemAttach(handle, Read | 1, &address),
                                         QXSharedMemDetach(nullptr), QXSharedMemDetach(&handle)});
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(QXSharedMemAttach(handle, Read, nullptr), result::NullPointer);
    EXPECT_EQ(QXSharedMemAttach(UINT64_MAX, Read, &address), result::InvalidHandle);
    void* first = nullptr;
    void* second = nullptr;
    ASSERT_EQ(QXSharedMemAttach(handle, Write, &first), result::Ok);
    ASSERT_EQ(QXSharedMemAttach(handle, Read, &second), result::Ok);
    static_cast<char*>(first)[9] = 'x';
    EXPECT_EQ(QXSharedMemDetach(first), result::Ok);
    EXPECT_EQ(QXSharedMemDetach(first), result::InvalidArgument);
    EXPECT_EQ(QXSharedMemClose(handle), result::Ok);
    EXPECT_EQ(static_cast<char*>(second)[9], 'x');
    EXPECT_EQ(openResult(name, 0, 0, 10), result::Ok); // the mapping alone keeps it
    EXPECT_EQ(QXSharedMemDetach(second), result::Ok);
    EXPECT_EQ(filesNamed(name), 0);
}

TEST(SharedMemory, FailuresCarryCodeAndMessageAndLeaveNothingOpen) {
    const std::string name = uniqueName("block");
    const mode_t oldMask = umask(077);
    const SharedMemory memory(name.c_str(), 1, Create, 0064);
    umask(oldMask);
    struct stat status;
    ASSERT_EQ(stat(("/dev/shm/qx-memory." + name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0664u) << "exactly the permissions that were asked for";
    const int64_t before = countOwn("fd");
    const auto missing = [] { SharedMemory(uniqueName("missing").c_str(), 0, 0, 0); };
    const auto unwritable = [&] { SharedMemory(name.c_str(), 0, ReadOnly, 0064); };
    EXPECT_EQ(failureOf(missing), result::NotFound);
    EXPECT_EQ(failureOf([&] { SharedMemory(name + '\0', 0, 0, 0); }), result::InvalidArgument);
    EXPECT_EQ(descriptionOf(missing), "Failed to open shared memory.");
    EXPECT_EQ(failureOf(unwritable), result::AccessDenied);
    EXPECT_EQ(descriptionOf(unwritable), "Failed to attach shared memory");
    EXPECT_EQ(countOwn("fd"), before);
}

bool s_endsLongCalls = false;

TEST(SharedMemory, IsMadeThoughASignalComesBeforeEachLongCallEnds) {
    s_endsLongCalls = true;
    EXPECT_EQ(openResult(uniqueName("long"), Create, 0, 5'000'000), result::Ok);
    s_endsLongCalls = false;
}

TEST(SharedMemory, AnotherUserOpensOnlyWhatIsForOthers) {
    if (geteuid() != 0)
        GTEST_SKIP() << "takes root to become another user";
    const std::string mine = uniqueName("mine");
    const std::string common = uniqueName("common");
    const SharedMemory own(mine.c_str(), 1, Create, 0);
    const SharedMemory readable(common.c_str(), 1, Create, 0004);
    EXPECT_TRUE(holdsInFork([&] {
        Semaphore roots(mine.c_str(), 1);
        CHECK_IN_CHILD(setegid(65534) == 0 && seteuid(65534) == 0);
        CHECK_IN_CHILD(roots.tryWait() && Semaphore(mine.c_str(), 1).tryWait());
        // A child loses what it has no rights to, which is in nobody's way.
        CHECK_IN_CHILD(holdsInFork(
            [&] { return seteuid(0) == 0 && Semaphore(mine.c_str(), 1).getValue() == 0; }));
        CHECK_IN_CHILD(openResult(mine, 0, 0, 0) == result::NotFound);
        CHECK_IN_CHILD(openResult(common, 0, 0004, 0) == result::AccessDenied);
        QXHandle handle = 0;
        void* address = nullptr;
        CHECK_IN_CHILD(QXSharedMemOpen(common.c_str(), ReadOnly, 0004, 0, &handle) >= 0);
        CHECK_IN_CHILD(QXSharedMemAttach(handle, Read | Write, &address) == result::AccessDenied);
        CHECK_IN_CHILD(QXSharedMemAttach(handle, Read, &address) >= 0);
        rmdir("/dev/shm/qx-65534");
        return true;
    }));
    EXPECT_EQ(filesNamed(common), 1);
    // What the other user has put there is nothing that he must not write to.
    const std::string theirs = uniqueName("theirs"), path = "/dev/shm/qx-memory." + theirs;
    close(open(path.c_str(), O_RDWR | O_CREAT, 0600));
    ASSERT_EQ(chmod(path.c_str(), 0666) | chown(path.c_str(), 65534, 65534), 0);
    expectEach(result::AccessDenied,
               {openResult(theirs, Create, 0044, 1), openResult(theirs, Create, 0060, 1)});
    EXPECT_EQ(openResult(theirs, Create, 0066, 1), result::Ok);
}

constexpr char NotPermitted[] = "a namespace or filter of its own is not permitted";

/// Gives the process a memory file system of its own of 64 KiB; false when it may not have one.
bool enterSmallMemory() {
    return unshare(CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/dev/shm", "tmpfs", 0, "size=64k,mode=1777") == 0;
}

QX_TEST_IN_CHILD(SharedObjectsInAProcess, FullMemoryIsAnErrorOfTheOpening) {
    if (!enterSmallMemory())
        GTEST_SKIP() << NotPermitted;
    QXHandle most = 0, handle = 0;
    expectEach(result::DiskFull,
               {openResult("huge", Create, 0, 1 << 20), openResult("huge", Create, 0, UINT32_MAX)});
    EXPECT_EQ(QXSharedMemOpen("most", Create, 0, 60 << 10, &most), result::Ok);
    EXPECT_EQ(QXNamedSemOpen("semaphore", 1, &handle), result::DiskFull);
    EXPECT_EQ(filesNamed("huge") + filesNamed("semaphore"), 0);
    // It is given back though there is no descriptor left with which to remove the file.
    const rlimit none = {0, 256}, some = {256, 256};
    expectEach(result::Ok, {setrlimit(RLIMIT_NOFILE, &none), QXSharedMemClose(most),
                            setrlimit(RLIMIT_NOFILE, &some),
                            QXNamedSemOpen("semaphore", 1, &handle), QXNamedSemClose(handle)});
}

QX_TEST_IN_CHILD(SharedObjectsInAProcess, OfTheFoldersThatCanBeHadAllTakeTheSame) {
    if (geteuid() != 0 || !enterSmallMemory())
        GTEST_SKIP() << NotPermitted;
    const char* folder = "/dev/shm/qx-0";
    const auto open = [](const char* name) { return openResult(name, Create | Exclusive, 0, 1); };
    CHECK_IN_CHILD(mkdir(folder, 0700) == 0 && chmod(folder, 0770) == 0);
    CHECK_IN_CHILD(open("m") == result::AccessDenied);
    // Another user was there first, and goes again.
    CHECK_IN_CHILD(chmod(folder, 0700) == 0 && chown(folder, 65534, 0) == 0);
    std::optional<SharedMemory> memory(std::in_place, "m", 1, Create, 0);
    for (const std::string change : {"rmdir ", "ln -s /tmp ", "rm ", "mkdir -m 500 "}) {
        CHECK_IN_CHILD(std::system((change + folder).c_str()) == 0);
        CHECK_IN_CHILD(open("m") == result::FileExists && open("n") == result::Ok);
    }
    // What processes leave that are killed while they make folders is used or removed.
    memory.reset();
    for (const auto& each : std::filesystem::directory_iterator("/dev/shm"))
        CHECK_IN_CHILD(chmod(each.path().c_str(), 0500) == 0);
    CHECK_IN_CHILD(open("m") == result::Ok);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/dev/shm"), {}), 1);
}

/// Locks the file as its user or as one who sets it up would, and keeps the lock.
int lockFile(const std::string& path, int flags, short type) {
    const int file = open(path.c_str(), flags, 0600);
    struct flock whole = {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    CHECK_IN_CHILD(file >= 0 && fcntl(file, F_OFD_SETLK, &whole) == 0);
    return file;
}

// Who may read a block may also lock its file for as long as he likes.
QX_TEST_IN_CHILD(SharedObjectsInAProcess, AReaderWhoLocksItsFileHoldsNobodyUp) {
    alarm(60); // instead of hanging
    const std::string name = uniqueName("hostile");
    std::optional<SharedMemory> memory;
    memory.emplace(name.c_str(), 100, Create, 0044);
    const int file = lockFile("/dev/shm/qx-memory." + name, O_RDONLY, F_RDLCK);
    memory.reset();
    memory.emplace(name.c_str(), 100, Create, 0044);
    CHECK_IN_CHILD(openResult(name, Create | Exclusive, 0044, 1) == result::FileExists);
    close(file);
    memory.reset();
    CHECK_IN_CHILD(filesNamed(name) == 0);
}

// A process that is stopped while it sets an object up is in the way of nobody but those who want
// that object, and these are told.
QX_TEST_IN_CHILD(SharedObjectsInAProcess, APeerStoppedInSetUpHoldsUpItsOwnObjectOnly) {
    alarm(60);
    const std::string name = uniqueName("stopped");
    CHECK_IN_CHILD(openResult(name + ".first", Create, 0, 1) >= 0); // the folder
    const std::string folder = "/dev/shm/qx-" + std::to_string(geteuid());
    for (const char* kind : {"lock.", "memory."})
        lockFile(folder + "/" + kind + name, O_RDWR | O_CREAT, F_WRLCK);
    std::thread lock([&] {
        QXHandle handle;
        CHECK_IN_CHILD(QXMutexCreate(name.c_str(), QX_SYNC_SHARED, &handle) == result::Busy);
    });
    std::thread memory([&] { CHECK_IN_CHILD(openResult(name, Create, 0, 1) == result::Busy); });
    for (int i = 0; i < 20; ++i) {
        const SharedMemory other((name + ".other").c_str(), 1, Create, 0);
        CHECK_IN_CHILD(holdsInFork([] { return true; }));
    }
    lock.join();
    memory.join();
    for (const char* kind : {"lock.", "memory."})
        CHECK_IN_CHILD(unlink((folder + "/" + kind + name).c_str()) == 0);
}

// What a program without them prints would go into the memory of all who use the object.
QX_TEST_IN_CHILD(SharedObjectsInAProcess, NoObjectIsEverAStandardStream) {
    const std::string name = uniqueName("bare");
    expectEach(0, {close(0), close(1), close(2)});
    const SharedMemory own(name.c_str(), 1, Create, 0), common(name.c_str(), 1, Create, 0044);
    const Semaphore semaphore(name.c_str(), 1);
    const auto areClosed = [] {
        return fcntl(0, F_GETFD) + fcntl(1, F_GETFD) + fcntl(2, F_GETFD) == -3;
    };
    EXPECT_TRUE(holdsInFork(areClosed) && areClosed()); // a child opens what it uses once more
}

// A program has copies of all descriptors from when a thread starts it until it is executed.
TEST(WhatIsClosed, GoesOnInAForkAndNotInAProgramThatIsBeingStarted) {
    const std::string name = uniqueName("copied");
    for (const bool isForked : {false, true}) {
        std::optional<SharedMemory> memory(std::in_place, name.c_str(), 1, Create, 0);
        std::optional<net::TcpServerSocket> server(std::in_place, 0, 1);
        const unsigned short port = server->getPort();
        const ChildProcess child(isForked ? fork() : pid_t(syscall(SYS_clone, SIGCHLD, 0, 0, 0)));
        while (child.pid() == 0)
            pause();
        memory.reset(), server.reset();
        EXPECT_EQ(openResult(name, 0, 0, 1), isForked ? result::Ok : result::NotFound);
        EXPECT_EQ(resultOf([&] { net::TcpServerSocket(port, 1); }) < 0, isForked);
    }
}

/// Nothing can be opened, and everybody says why.
void expectLackOf(const std::string& what) {
    const char* const lack = QXSharedObjectsLack();
    CHECK_IN_CHILD(lack != nullptr && std::strstr(lack, what.c_str()) != nullptr);
    for (const uint32_t permissions : {0u, 0044u})
        CHECK_IN_CHILD(openResult("m", Create, permissions, 1) == result::NotAvailable);
    const auto open = [] { ipc::Semaphore("s", 1); };
    CHECK_IN_CHILD(failureOf(open) == result::NotAvailable && descriptionOf(open) == lack);
}

QX_TEST_IN_CHILD(SharedObjectsInAProcess, AMachineWhoseMemoryFolderIsNoneIsToldApart) {
    if (!enterSmallMemory())
        GTEST_SKIP() << NotPermitted;
    CHECK_IN_CHILD(mount(nullptr, "/dev/shm", nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0);
    expectLackOf("/dev/shm, which the process must not write to");
    CHECK_IN_CHILD(mount("tmpfs", "/dev", "tmpfs", 0, nullptr) == 0);
    expectLackOf("/dev/shm");
}

QX_TEST_IN_CHILD(SharedObjectsInAProcess, AMachineWithoutLocksOfFilesIsToldApart) {
    if (!refuseCall(SYS_fcntl, EINVAL))
        GTEST_SKIP() << NotPermitted;
    expectLackOf("F_OFD_SETLK");
}

/// Another process with the semaphore of that name.
struct User : Party {
    explicit User(const std::string& name) : Party(Way::BetweenProcesses, Guards, name) {}
};

TEST(NamedSemaphore, InitialValueCountsForTheCreatorOnly) {
    const std::string name = uniqueName("sem");
    {
        Semaphore first(name.c_str(), 3);
        EXPECT_TRUE(first.tryWait());
        {
            Semaphore second(name.c_str(), 9);
            EXPECT_EQ(second.getValue(), 2);
            second.signal(); // units belong to the process, not to the handle
        }
        EXPECT_EQ(first.getValue(), 3);
    }
    EXPECT_EQ(filesNamed(name), 0);
    Semaphore full(name.c_str(), 0x7FFFFFFF);
    expectEach(result::Overflow, {[&] { full.signal(); }});
    EXPECT_EQ(full.getValue(), 0x7FFFFFFF);
}

TEST(NamedSemaphore, DisappearsWithItsLastUserHoweverThatEnds) {
    for (const bool isKilled : {false, true}) {
        for (const bool isSwept : {false, true}) {
            SCOPED_TRACE(testing::Message() << isKilled << isSwept);
            const std::string name = uniqueName("sem");
            User user(name);
            EXPECT_EQ(user(QXSemaphoreWait), result::Ok);
            isKilled ? user.kill() : user.quit();
            EXPECT_EQ(filesNamed(name), isKilled);
            if (isSwept) {
                User(uniqueName("other")).quit();
                EXPECT_EQ(filesNamed(name), 0) << "another process removes what is left";
            }
            EXPECT_EQ(Semaphore(name.c_str(), 4).getValue(), 4);
            EXPECT_EQ(filesNamed(name), 0);
        }
    }
}

TEST(NamedSemaphore, NamesAreTakenLiterally) {
    const std::string unique = uniqueName("name"), longName(5000, 'x');
    std::map<std::string, Semaphore> semaphores;
    for (const std::string& ending : std::initializer_list<std::string>{
             "/a/b", "/../..", "A", "a", "\xC3\xA4 \n",
             "%C3%A4%20%0A", // what an escape of that looks like
             longName + "1", // beyond every file name, differing at the end
             longName + "2"})
        semaphores.try_emplace(unique + ending, (unique + ending).c_str(), 1u);
    for (auto& [name, semaphore] : semaphores) {
        SCOPED_TRACE(name.substr(0, 60));
        EXPECT_EQ(semaphore.getValue(), 1) << "an object of two names";
        EXPECT_EQ(User(name)(QXSemaphorePost), result::Ok);
        EXPECT_EQ(semaphore.getValue(), 2) << "two objects of one name";
    }
    semaphores.clear();
    EXPECT_EQ(filesNamed(unique), 0);
}

TEST(SemaphoreR, TakesOneUnitHoweverDeepItsOwnerIsAndWhoeverElseSignals) {
    const std::string name = uniqueName("sem");
    SemaphoreR semaphore(name.c_str(), 1, nullptr);
    Semaphore underlying(name.c_str(), 9);
    semaphore.wait();
    EXPECT_TRUE(semaphore.tryWait());
    semaphore.wait();
    EXPECT_EQ(semaphore.getValue(), 0);
    semaphore.signal();
    std::thread([&] {
        semaphore.signal();
        semaphore.signal();
        EXPECT_FALSE(semaphore.tryWait());
    }).join();
    semaphore.signal();
    EXPECT_FALSE(underlying.tryWait());
    for (int i = 0; i < 2; ++i) {
        semaphore.signal(); // the second is nobody's: ignored
        EXPECT_EQ(underlying.getValue(), 1);
    }
    std::thread([&] { EXPECT_TRUE(std::unique_lock(semaphore, std::try_to_lock)); }).join();
    EXPECT_EQ(semaphore.getValue(), 1);
    expectEach(result::InvalidArgument, {[] { SemaphoreR("", 1, nullptr); }});
}

// It hangs when a thread that waits holds the guard.
TEST(SemaphoreR, ExcludesThreadsThroughOneObjectAndThroughSeveral) {
    const std::string name = uniqueName("sem");
    const Reference<sync::Mutex> guard(new sync::Mutex);
    SemaphoreR common(name.c_str(), 1, guard);
    EXPECT_EQ(guard->GetRefCount(), 2u);
    int counter = 0; // guarded by the semaphore
    inThreads(4, [&](int thread) {
        SemaphoreR own(name.c_str(), 1, nullptr);
        for (int round = 0; round < 300; ++round) {
            std::unique_lock outer(thread % 2 == 0 ? common : own, std::defer_lock);
            while (round % 2 == 0 && !outer.try_lock_for(std::chrono::seconds(30))) {
            }
            if (round % 2 != 0)
                outer.lock();
            const std::unique_lock inner(*outer.mutex());
            const int seen = counter;
            std::this_thread::yield();
            counter = seen + 1;
        }
    });
    EXPECT_EQ(counter, 4 * 300);
    EXPECT_EQ(common.getValue(), 1);
}

} // namespace

/// Stands in front of the system's. Older kernels take back what was reserved before a signal.
extern "C" int posix_fallocate(int file, off_t begin, off_t length) {
    if (s_endsLongCalls && length > 1'500'000)
        return EINTR;
    return fallocate(file, 0, begin, length) == 0 ? 0 : errno;
}
