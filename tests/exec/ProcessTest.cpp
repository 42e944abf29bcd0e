#include <algorithm>
#include <cerrno>
#include <csignal>
#include <optional>
#include <span>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/utsname.h>

#include <qx/exec/Process.h>
#include <qx/platform/files.h>

#include "tests/exec/ExecTesting.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/RefusedCall.h"
#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace qx::exec;
using namespace qxtest;

namespace {

constexpr auto* AlreadyJoined = u"process already joined";
constexpr unsigned int InheritAll =
    QX_PROCESS_INHERIT_INPUT | QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR;
constexpr auto* NotJoined = u"process has not been joined";

/// This program again, running one of the entries below.
Process start(std::u16string_view entryAndArguments, unsigned int flags = 0) {
    return Process(SelfPath, childCommand(entryAndArguments).c_str(), nullptr, nullptr, flags);
}

/// Waits for the end of its input, then ends so.
Process endingWith(const std::u16string& end) {
    return Process(nullptr, (u"sh -c \"cat; " + end + u"\"").c_str(), nullptr, nullptr, 0);
}

// The entries use the system's calls, not the library's.

/// Writes what it reads to both outputs, upside down to the second.
const ChildEntry copyEntry("exec.copy", [](const auto&) {
    char block[5000];
    for (ssize_t count; (count = read(STDIN_FILENO, block, sizeof block)) > 0;) {
        if (write(STDOUT_FILENO, block, static_cast<size_t>(count)) != count)
            return 1;
        for (char& byte : std::span(block, static_cast<size_t>(count)))
            byte = static_cast<char>(~byte);
        if (write(STDERR_FILENO, block, static_cast<size_t>(count)) != count)
            return 1;
    }
    return 0;
});

/// Says where and how it was started.
const ChildEntry aboutEntry("exec.about", [](const auto&) {
    char folder[4096];
    std::printf("%s\n", getcwd(folder, sizeof folder));
    for (char** each = environ; *each; ++each)
        std::printf("%s\n", *each);
    std::printf("%d descriptors\n", static_cast<int>(countOwn("fd")));
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::puts(sigisemptyset(&blocked) ? "no signals blocked" : "signals blocked");
    std::puts(signal(SIGPIPE, SIG_DFL) == SIG_DFL ? "no pipe ignored" : "pipe ignored");
    return 0;
});

/// Prints its arguments in brackets.
const ChildEntry argumentsEntry("exec.arguments", [](const auto& arguments) {
    for (const auto& argument : arguments)
        std::printf("[%s]", argument.c_str());
    return 0;
});

TEST(Process, SplitsTheCommandLineIntoArguments) {
    const struct {
        const char16_t* line;
        const char* arguments;
    } cases[] = {
        {u"", ""},
        {u"a b\tc  d ", "[a][b][c][d]"},
        {u"\"a b\" c", "[a b][c]"},
        {u"a\" b \"c", "[a b c]"},   // quotes in the middle of a word
        {u"\"\" a \"\"", "[][a][]"}, // empty words
        {u"\"a b", "[a b]"},         // never closed
        {u"\"", "[]"},
        {u"a\\b\\\\c", "[a\\b\\\\c]"}, // no quote follows
        {u"a\\\"b", "[a\"b]"},
        {u"a\\\\\"b c\"", "[a\\b c]"},
        {u"a\\\\\\\"b c", "[a\\\"b][c]"},
        {u"\"a\\\\\" b", "[a\\][b]"},
        {u"\"a\"\"b\" c", "[a\"b][c]"}, // a quote between quotes
        {u"\"a\"\"\" c", "[a\"][c]"},
        {u"\"\"\"a b\"\"\"", "[\"a b\"]"},
        {u"a\\", "[a\\]"},
        {u"'a b' $HOME *", "['a][b'][$HOME][*]"}, // no shell
        {u"\u00E4\u20AC \U0001F600", "[\u00E4\u20AC][\U0001F600]"},
        {u"a\nb", "[a\nb]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments);
        Process process = start(std::u16string(u"exec.arguments ") + c.line);
        EXPECT_EQ(readAll(*process.getInputStream()), c.arguments);
    }
}

TEST(Process, FindsTheProgram) {
    const TemporaryFolder folder;
    writeFile(folder.path("print"), "#!/bin/sh\necho $0 $PWD\n");
    std::filesystem::permissions(folder.path("print"), std::filesystem::perms::owner_all);
    const std::filesystem::path path = folder.path(), current = std::filesystem::current_path();
    const std::string parent = path.parent_path(), name = path.filename();
    std::filesystem::current_path(parent);

    const std::u16string relative = path.filename().u16string() + u"/print";
    const std::u16string backslash = path.filename().u16string() + u"\\print";
    const struct {
        const char16_t* path;
        const char16_t* line;
        const char16_t* folder;
        std::string output;
    } cases[] = {
        {nullptr, u"echo 1 2", nullptr, "1 2\n"},   // in PATH
        {u"/bin/echo", nullptr, nullptr, "\n"},     // no arguments
        {u"/bin/echo", u"other 1", nullptr, "1\n"}, // called otherwise
        {relative.c_str(), nullptr, nullptr, name + "/print " + parent + "\n"},
        {backslash.c_str(), nullptr, nullptr, name + "/print " + parent + "\n"},
        {nullptr, relative.c_str(), nullptr, name + "/print " + parent + "\n"},
        // From the current folder, wherever the child starts.
        {relative.c_str(), nullptr, u"/", folder.path("print") + " /\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.output);
        Process process(c.path, c.line, c.folder, nullptr, 0);
        EXPECT_EQ(readAll(*process.getInputStream()), c.output);
    }
    std::filesystem::current_path(current);
}

TEST(ProcessHandle, GivesTheCodeOnceAndIsNoOther) {
    constexpr QXHandle None = ~QXHandle{0};
    QXHandle streams[3], handle = None;
    ASSERT_EQ(QXProcessCreate(nullptr, u"cat", nullptr, nullptr, QX_PROCESS_MERGE_ERROR, streams,
                              &handle),
              result::Ok);
    EXPECT_EQ(streams[2], None);
    int32_t code = 0;
    EXPECT_EQ(QXProcessGetExitCode(handle, &code), result::Busy);
    EXPECT_EQ(code, -1);
    QXFileClose(streams[0]);
    EXPECT_EQ(QXProcessJoin(handle, &code), result::Ok);
    EXPECT_EQ(code, 0);
    QXFileClose(streams[1]);
    for (const QXHandle none :
         {handle, QXHandle{0}, None, QXHandle{1} << 63, QXHandle{0x80000000u}}) {
        EXPECT_EQ(QXProcessJoin(none, &code), result::InvalidHandle);
        EXPECT_EQ(code, -1);
        EXPECT_EQ(QXProcessGetExitCode(none, &code), result::InvalidHandle);
        EXPECT_EQ(QXProcessDetach(none), result::InvalidHandle);
    }
    EXPECT_EQ(QXProcessCreate(nullptr, u"true", nullptr, nullptr, 0, nullptr, &handle),
              result::NullPointer);
    EXPECT_EQ(QXProcessCreate(nullptr, u"true", nullptr, nullptr, 0, streams, nullptr),
              result::NullPointer);
}

TEST(Process, HandsBackTheExitCode) {
    const struct {
        const char16_t* end;
        int32_t code;
    } cases[] = {{u"exit 0", 0},
                 {u"exit 1", 1},
                 {u"exit 255", 255},
                 {u"kill -USR1 $$", -SIGUSR1},
                 {u"kill -9 $$", -SIGKILL}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        Process process = endingWith(c.end);
        expectThrows<IllegalStateException>(NotJoined, [&] { process.getExitCode(); });
        EXPECT_FALSE(process.tryJoin()); // it waits for the end of its input
        process.getOutputStream()->close();
        EXPECT_EQ(process.join(), c.code);
        EXPECT_EQ(process.getExitCode(), c.code);
        expectThrows<IllegalStateException>(AlreadyJoined, [&] { process.join(); });
        expectThrows<IllegalStateException>(AlreadyJoined, [&] { process.tryJoin(); });
    }
}

TEST(Process, DoesNotKnowWhatThePlatformLacks) {
    Process process = endingWith(u"exit 0");
    expectThrowsResult(result::NotAvailable, [&] { process.getID(); });
    expectThrowsResult(result::NotAvailable, [] { Process::joinChild(); });
    EXPECT_EQ(Process::getCurrentID(), static_cast<unsigned int>(getpid()));
    expectThrows<CloneNotSupportedException>(u"", [&] { process.clone(); });
}

TEST(Process, StreamsAreTheSameEachTimeMergeAndOutliveTheProcess) {
    Reference<io::InputStream> in;
    Reference<io::OutputStream> out;
    {
        Process process = start(u"exec.copy", QX_PROCESS_MERGE_ERROR);
        in = process.getInputStream();
        out = process.getOutputStream();
        EXPECT_EQ(process.getInputStream(), in);
        EXPECT_EQ(process.getOutputStream(), out);
        EXPECT_EQ(process.getErrorStream(), process.getErrorStream());
        expectThrows<ResultException>(u"", [&] { process.getErrorStream()->read(); });
    }
    in->close(); // does not own the handle
    out->write("x", 1);
    EXPECT_EQ(in->read(), 'x');
    out.reset(); // the last that held the child's input
    EXPECT_EQ(readAll(*in), std::string(1, static_cast<char>(~'x')));
}

TEST(Process, OutputIsReadAfterTheJoin) {
    Process process = start(u"exec.copy");
    const auto out = process.getOutputStream();
    const std::string text(30'000, 'x');
    out->write(text.data(), static_cast<int32_t>(text.size()));
    out->close();
    expectThrows<ResultException>(u"", [&] { out->write("y", 1); });
    out->close();
    EXPECT_EQ(process.join(), 0);
    EXPECT_EQ(readAll(*process.getInputStream()), text);
    EXPECT_EQ(readAll(*process.getErrorStream()).size(), text.size());
}

/// Starts a child with the standard streams of its own; argument: flags.
const ChildEntry passOnEntry("exec.passOn", [](const auto& arguments) {
    const auto flags = static_cast<unsigned int>(std::stoul(arguments[0]));
    return static_cast<int>(start(u"exec.copy", flags).join());
});

TEST(Process, InheritsStreamsThatItIsTold) {
    static_assert(InheritAll == 14);
    const struct {
        const char16_t* entry;
        const char *output, *error;
    } cases[] = {{u"exec.passOn 14", "\x01", "\xFE"},
                 {u"exec.passOn 7", "\x01\xFE", ""}}; // error output to the inherited output
    for (const auto& c : cases) {
        Process process = start(c.entry);
        process.getOutputStream()->write("\x01", 1);
        process.getOutputStream()->close();
        EXPECT_EQ(readAll(*process.getInputStream()), c.output);
        EXPECT_EQ(readAll(*process.getErrorStream()), c.error);
        EXPECT_EQ(process.join(), 0);
    }
}

TEST(Process, ChildHasWhatItIsGivenAndNothingElseOfItsParent) {
    const TemporaryFolder folder;
    const char16_t* const environment[] = {u"QX_ONE=1", u"QX_EMPTY=", u"QX_TEXT=\u00E4=\u20AC",
                                           nullptr};
    const int leaky = open("/dev/null", O_RDONLY); // not closed on exec
    sigset_t signals, previous;
    sigfillset(&signals);
    pthread_sigmask(SIG_SETMASK, &signals, &previous);
    const auto previousPipe = signal(SIGPIPE, SIG_IGN);
    Process process(SelfPath, childCommand(u"exec.about").c_str(),
                    String::fromUtf8(folder.path()).getData(), environment, 0);
    signal(SIGPIPE, previousPipe);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    close(leaky);
    EXPECT_EQ(readAll(*process.getInputStream()),
              folder.path() + "\nQX_ONE=1\nQX_EMPTY=\nQX_TEXT=\u00E4=\u20AC\n" +
                  "4 descriptors\nno signals blocked\nno pipe ignored\n"); // one lists the others
    EXPECT_EQ(process.join(), 0);
}

TEST(Process, ConstructorReportsWhatCannotBeExecuted) {
    const TemporaryFolder folder;
    writeFile(folder.path("text"), "no program");
    writeFile(folder.path("script"), "no program either");
    std::filesystem::permissions(folder.path("script"), std::filesystem::perms::owner_all);
    const auto in = [&folder](const char* name) { return String::fromUtf8(folder.path(name)); };
    const auto noFolder = in("missing");
    const char16_t* const nameless[] = {u"NAME", nullptr};
    const char16_t* const emptyName[] = {u"=value", nullptr};
    const std::u16string longLine = u"true " + std::u16string(3 << 20, u'x');

    const struct {
        const char* what;
        String executable;
        const char16_t* commandLine;
        const char16_t* folder;
        const char16_t* const* environment;
        unsigned int flags;
        uint32_t code;
    } cases[] = {
        {"missing", in("missing"), nullptr, nullptr, nullptr, 0, 0x80070002},
        {"below a file", in("text/program"), nullptr, nullptr, nullptr, 0, 0x80070003},
        {"folder", String::fromUtf8(folder.path()), nullptr, nullptr, nullptr, 0, 0x80070005},
        {"not executable", in("text"), nullptr, nullptr, nullptr, 0, 0x80070005},
        {"no program", in("script"), nullptr, nullptr, nullptr, 0, 0x800700C1},
        {"not in PATH", {}, u"qx-no-such-program 1", nullptr, nullptr, 0, 0x80070002},
        {"no word", {}, u" \t ", nullptr, nullptr, 0, 0x80070057},
        {"nothing", {}, nullptr, nullptr, nullptr, 0, 0x80070057},
        {"empty name", {}, u"\"\" x", nullptr, nullptr, 0, 0x80070002},
        {"drive", {}, u"c:\\true.exe", nullptr, nullptr, 0, 0x80070002},
        {"no folder", {}, u"true", noFolder.getData(), nullptr, 0, 0x8007010B},
        {"no variable", {}, u"true", nullptr, nameless, 0, 0x80070057},
        {"no name", {}, u"true", nullptr, emptyName, 0, 0x80070057},
        {"too long", {}, longLine.c_str(), nullptr, nullptr, 0, 0x800700CE},
        {"no text", {}, u"true \xD800", nullptr, nullptr, 0, 0x8BB34102},
        {"unknown flag", {}, u"true", nullptr, nullptr, 16, 0x80070057},
        {"merged and inherited", {}, u"true", nullptr, nullptr, 9, 0x80070057},
    };
    const NothingLeft check;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const char16_t* const executable =
            c.executable.isEmpty() ? nullptr : c.executable.getData();
        const auto attempt = [&] {
            Process(executable, c.commandLine, c.folder, c.environment, c.flags);
        };
        EXPECT_EQ(failureOf(attempt), static_cast<int32_t>(c.code));
        EXPECT_EQ(descriptionOf<ResultException>(attempt), "");
    }
}

/// Runs out of descriptors between two pipes, and between pipes and process descriptor.
const ChildEntry fewDescriptors("RunsOutOfDescriptorsWithoutHarm", [](const auto&) {
    if (Sanitized) // which needs descriptors for its own checks
        return 0;
    const rlimit limit{64, 64};
    setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<int> taken;
    for (int descriptor; (descriptor = dup(STDIN_FILENO)) >= 0;)
        taken.push_back(descriptor);
    for (int left = 0; left < 10; ++left) {
        int32_t code = 0;
        try {
            Process process = endingWith(u"exit 3");
            process.getOutputStream()->close();
            code = process.join();
        } catch (const ResultException& exception) {
            EXPECT_EQ(exception.getResult(), static_cast<int32_t>(0x80070004u)) << left;
        }
        EXPECT_EQ(code, left < 6 ? 0 : 3) << left; // six ends of pipes
        close(taken.back());
        taken.pop_back();
    }
    EXPECT_FALSE(hasChildren());
    return testing::Test::HasFailure() ? 1 : 0;
});

/// A host program without standard streams.
const ChildEntry bareEntry("exec.bare", [](const auto& arguments) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        close(stream);
    Process process = start(u"exec.copy");
    process.getOutputStream()->write("\x01", 1);
    process.getOutputStream()->close();
    const std::string output = readAll(*process.getInputStream());
    const std::string error = readAll(*process.getErrorStream());
    const bool isRight = output == "\x01" && error == "\xFE" && process.join() == 0;
    writeFile(arguments[0], isRight ? "right" : "wrong");
    return 0;
});

TEST(Process, WorksInAProgramWithoutStandardStreams) {
    const TemporaryFolder folder;
    ChildProcess("exec.bare", {folder.path("result")}).join();
    EXPECT_EQ(readFile(folder.path("result")), "right");
}

/// True when the kernel tells the status of children that it has thrown away itself.
bool kernelRemembersStatus() {
    utsname name;
    uname(&name);
    int major = 0, minor = 0;
    std::sscanf(name.release, "%d.%d", &major, &minor);
    return major > 6 || (major == 6 && minor >= 15);
}

const ChildEntry carelessEntry("IsJoinedInAProgramThatIgnoresItsChildren", [](const auto&) {
    signal(SIGCHLD, SIG_IGN);
    std::optional<NothingLeft> check(std::in_place);
    for (int i = 0; i < 20; ++i) {
        Process waiting = endingWith(u"exit 7");
        waiting.getOutputStream()->close();
        if (i % 2 == 0)
            EXPECT_TRUE(eventually([&] { return waiting.tryJoin(); }));
        else
            waiting.join();
        EXPECT_EQ(waiting.getExitCode(), kernelRemembersStatus() ? 7 : QX_PROCESS_EXIT_UNKNOWN);
        Process quick(nullptr, u"true", nullptr, nullptr, 0); // may be gone before it is looked at
        const int32_t code = quick.join();
        EXPECT_TRUE(code == 0 || code == QX_PROCESS_EXIT_UNKNOWN) << code;
        Process(nullptr, u"true", nullptr, nullptr, 0);
    }
    check.reset();
    return testing::Test::HasFailure() ? 1 : 0;
});

/// Leaves a child behind that runs on, as does a fork of this program.
const ChildEntry leaveEntry("ProgramEndsWhileAChildThatItLeftRuns", [](const auto&) {
    Process(nullptr, u"sleep 1", nullptr, nullptr, InheritAll);
    if (fork() == 0)
        exit(0); // with the list of its parent's children, but not its threads
    int status = -1;
    wait(&status);
    return status;
});

TEST(Process, LeaveNothingBehindWhateverIsDoneWithThem) {
    constexpr int Starters = 4;
    constexpr int Each = Sanitized ? 50 : 2500;
    const NothingLeft check;
    std::vector<std::jthread> starters;
    for (int starter = 0; starter < Starters; ++starter) {
        starters.emplace_back([starter] {
            for (int i = 0; i < Each; ++i) {
                Process process(nullptr, u"true", nullptr, nullptr, 0);
                switch ((i + starter) % 5) {
                case 0:
                    EXPECT_EQ(process.join(), 0);
                    break;
                case 1:
                    EXPECT_TRUE(eventually([&] { return process.tryJoin(); }));
                    break;
                case 2: // has mostly ended when it is dropped
                    readAll(*process.getInputStream());
                    break;
                case 3: // reads at the end what it got before
                    process.join();
                    EXPECT_EQ(readAll(*process.getErrorStream()), "");
                    break;
                default: // still runs when it is dropped
                    break;
                }
            }
        });
    }
}

TEST(Process, HundredsOfDroppedOnesShareAThreadAndAFewDescriptors) {
    constexpr int Count = Sanitized ? 100 : 300, MostDescriptors = 70;
    const NothingLeft check;
    std::vector<Reference<io::OutputStream>> inputs; // they run as long as these are there
    for (int i = 0; i < Count; ++i) {
        Process process(nullptr, u"cat", nullptr, nullptr,
                        QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR);
        inputs.push_back(process.getOutputStream());
    }
    EXPECT_LE(check.moreDescriptors(), Count + MostDescriptors);
    EXPECT_EQ(check.moreThreads(), 1);
}

/// Everything that is done with a process, where the system has no descriptors of processes.
const ChildEntry noProcessDescriptors("ManagesWithoutDescriptorsOfProcesses", [](const auto&) {
    if (!refuseCall(SYS_pidfd_open, ENOSYS))
        return 2;
    Process process = endingWith(u"exit 5");
    EXPECT_FALSE(process.tryJoin());
    process.getOutputStream()->close();
    EXPECT_TRUE(eventually([&] { return process.tryJoin(); }));
    EXPECT_EQ(process.getExitCode(), 5);
    std::optional<NothingLeft> check(std::in_place);
    QXHandle streams[3], handle, other;
    int32_t code = 0;
    EXPECT_GE(QXProcessCreate(nullptr, u"true", nullptr, nullptr, InheritAll, streams, &handle), 0);
    EXPECT_EQ(QXProcessJoin(handle, &code), result::Ok);
    EXPECT_GE(QXProcessCreate(nullptr, u"true", nullptr, nullptr, InheritAll, streams, &other), 0);
    EXPECT_EQ(QXProcessJoin(handle, &code), result::InvalidHandle); // nobody else's, either
    EXPECT_EQ(code, -1);
    EXPECT_EQ(QXProcessDetach(handle), result::InvalidHandle);
    EXPECT_EQ(QXProcessDetach(other), result::Ok);
    for (int i = 0; i < 50; ++i)
        Process(nullptr, i % 2 == 0 ? u"true" : u"sleep 0.1", nullptr, nullptr, InheritAll);
    check.reset();
    return testing::Test::HasFailure() ? 1 : 0;
});

class ProcessChild : public testing::TestWithParam<const char*> {};

TEST_P(ProcessChild, EndsWell) { EXPECT_EQ(ChildProcess(GetParam()).join(), 0); }

INSTANTIATE_TEST_SUITE_P(Kinds, ProcessChild,
                         testing::Values("RunsOutOfDescriptorsWithoutHarm",
                                         "IsJoinedInAProgramThatIgnoresItsChildren",
                                         "ProgramEndsWhileAChildThatItLeftRuns",
                                         "ManagesWithoutDescriptorsOfProcesses"),
                         [](const auto& test) { return test.param; });

} // namespace
