#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <fcntl.h>
#include <gtest/gtest.h>

#include <qx/platform/files.h>
#include <qx/platform/replace.h>
#include <qx/platform/result.h>

#include "tests/support/FailingCalls.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace qx;
using qxtest::FailingCalls;
using qxtest::readFile;
using qxtest::writeFile;

namespace fs = std::filesystem;

const std::string Old = "old bytes", New = "the new bytes";

class Replace : public testing::Test {
protected:
    int32_t replace(QXFileState* state = nullptr) { return replaceAt(file, state); }
    int32_t replaceAt(const std::string& path, QXFileState* state = nullptr) {
        return QXFileReplace(path.c_str(), New.data(), static_cast<int64_t>(New.size()), 0666,
                             state);
    }

    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder.path()))
            found.insert(entry.path().filename().string());
        return found;
    }

    qxtest::TemporaryFolder folder;
    const std::string file = folder.path("f.ini");
};

fs::perms modeOf(const std::string& path) { return fs::status(path).permissions(); }

const std::vector<std::string> Steps = {"open",     "open",  "fchmod", "write",
                                        "futimens", "fsync", "rename", "fsync"};
constexpr int Renamed = 6;

TEST_F(Replace, MakesAllBytesDurableBeforeTheNameAndTheNameAfterwards) {
    writeFile(file, Old);
    FailingCalls calls;
    EXPECT_EQ(replace(), result::Ok);
    EXPECT_EQ(calls.calls(), Steps);
    calls.limitWrites(4);
    EXPECT_EQ(replace(), result::Ok);
    EXPECT_EQ(readFile(file), New);
}

TEST_F(Replace, OldOrNewIsWholeWhicheverStepFailsOrKillsAndTheNextWriterCleansUp) {
    for (int step = 0; step < std::ssize(Steps); ++step) {
        // Only the flush of the folder comes when the new file has its name already.
        const bool isRenamed = step > Renamed;
        for (const int error : {ENOSPC, EACCES, FailingCalls::Kill}) {
            SCOPED_TRACE(testing::Message() << error << " at " << step);
            writeFile(file, Old);
            ::chmod(file.c_str(), 0640);
            const bool dies = error == FailingCalls::Kill;
            const pid_t child = dies ? ::fork() : -1;
            if (child <= 0) {
                const FailingCalls failing(step, error);
                QXFileState state;
                EXPECT_EQ(replace(&state),
                          error == EACCES ? result::AccessDenied : result::DiskFull);
                EXPECT_EQ(state.size, isRenamed ? std::ssize(New) : 0);
            }
            if (child == 0)
                ::_exit(1);
            int status = 0;
            EXPECT_EQ(::waitpid(child, &status, 0), dies ? child : -1);
            EXPECT_EQ(WIFSIGNALED(status), dies);
            EXPECT_EQ(readFile(file), isRenamed ? New : Old);
            EXPECT_EQ(modeOf(file), fs::perms(0640));
            EXPECT_EQ(names().size(), dies && step >= 2 && !isRenamed ? 2u : 1u);
            EXPECT_EQ(replace(), result::Ok);
            EXPECT_EQ(names(), std::set<std::string>{"f.ini"});
        }
    }
}

TEST_F(Replace, LeavesWhatIsNoLeftoverOfADeadWriterOfThisFile) {
    const std::string living = ".f.ini.0123456789ABCDEF.tmp";
    const std::set<std::string> kept = {
        "f.ini",
        living,
        ".f.ini.0123456789ABCDEF",     // no ending
        ".f.ini.0123456789abcdef.tmp", // not our digits
        ".f.ini.0123456789ABCDE.tmp",  // too few
        ".g.ini.0123456789ABCDEF.tmp", // of another file
        "f.ini.0123456789ABCDEF.tmp",  // not hidden
    };
    for (const auto& name : kept)
        writeFile(folder.path(name), Old);
    writeFile(folder.path(".f.ini.FEDCBA9876543210.tmp"), Old);
    const int held = ::open(folder.path(living).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    EXPECT_EQ(replace(), result::Ok);
    EXPECT_EQ(names(), kept);
    ::close(held);
}

TEST_F(Replace, WritersWithoutALockLeaveEachOtherAlone) {
    std::vector<std::jthread> writers;
    for (int i = 0; i < 4; ++i)
        writers.emplace_back([&] {
            for (int n = 0; n < 100; ++n)
                EXPECT_EQ(replace(), result::Ok);
        });
    writers.clear();
    EXPECT_EQ(names(), std::set<std::string>{"f.ini"});
}

TEST_F(Replace, FollowsLinksAndKeepsTheModeWithinTheUmask) {
    const mode_t umask = ::umask(027);
    fs::create_directory(folder.path("sub"));
    fs::create_symlink("sub/hop", file);
    fs::create_symlink(folder.path("sub/real"), folder.path("sub/hop"));
    EXPECT_EQ(replace(), result::Ok); // a link that leads nowhere
    EXPECT_EQ(modeOf(file), fs::perms(0640));
    writeFile(folder.path("sub/real"), Old);
    ::chmod(file.c_str(), 0606);
    EXPECT_EQ(replace(), result::Ok);
    EXPECT_EQ(modeOf(file), fs::perms(0606));
    ::umask(umask);
    EXPECT_EQ(fs::read_symlink(file), "sub/hop");
    EXPECT_TRUE(fs::is_symlink(folder.path("sub/hop")));
    EXPECT_EQ(readFile(folder.path("sub/real")), New);
}

TEST_F(Replace, RefusesWhatItCannotReplace) {
    fs::create_symlink("loop", folder.path("loop"));
    EXPECT_EQ(replaceAt(folder.path("loop")), static_cast<int32_t>(0x80070003));
    for (const std::string& path : {folder.path(), std::string("/dev/null")})
        EXPECT_EQ(replaceAt(path), result::AccessDenied);
    for (const std::string& path : {folder.path("no/f"), std::string(), file + "/"})
        EXPECT_EQ(replaceAt(path), result::NotFound);
    EXPECT_EQ(QXFileReplace(nullptr, "", 0, 0666, nullptr), result::NullPointer);
    EXPECT_EQ(QXFileReplace(file.c_str(), nullptr, 1, 0666, nullptr), result::NullPointer);
    EXPECT_EQ(QXFileReplace(file.c_str(), "", -1, 0666, nullptr), result::InvalidArgument);
    EXPECT_EQ(QXFileReplace(file.c_str(), "", 0, 01666, nullptr), result::InvalidArgument);
    EXPECT_EQ(names(), std::set<std::string>{"loop"});
    if (::geteuid() != 0) {
        writeFile(file, Old);
        ::chmod(file.c_str(), 0400);
        EXPECT_EQ(replace(), result::AccessDenied);
    }
}

TEST_F(Replace, EveryReplacementGivesAnotherState) {
    QXFileState previous = {}, state, seen;
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(replace(&state), result::Ok);
        ASSERT_EQ(QXFileGetState(file.c_str(), &seen), result::Ok);
        ASSERT_EQ(std::memcmp(&state, &seen, sizeof state), 0);
        // By time alone: a removed file's inode comes back.
        ASSERT_GT(state.modified, previous.modified);
        previous = state;
    }
    EXPECT_FALSE(QXFileIsStateSettled(&state));
    for (const int64_t secondsAgo : {1, 3600}) {
        state.modified = previous.modified - secondsAgo * 1'000'000'000 + 1;
        EXPECT_TRUE(QXFileIsStateSettled(&state));
    }
    fs::last_write_time(file, fs::file_time_type::clock::now() + std::chrono::hours(1000));
    ASSERT_EQ(QXFileGetState(file.c_str(), &previous), result::Ok);
    ASSERT_EQ(replace(&state), result::Ok);
    EXPECT_EQ(state.modified, previous.modified + 1) << "after a file from the future";
    EXPECT_EQ(QXFileGetState(folder.path("none").c_str(), &seen), result::NotFound);
    EXPECT_EQ(seen.size + seen.modified, 0);
}

} // namespace
