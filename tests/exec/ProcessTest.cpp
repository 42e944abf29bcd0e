#include <cerrno>
#include <csignal>
#include <span>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/utsname.h>

#include "tests/exec/ExecTesting.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Emulated.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/RefusedCall.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace qx::exec;
using namespace qxtest;

namespace {

constexpr unsigned int InheritAll =
    QX_PROCESS_INHERIT_INPUT | QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR;

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
    const std::pair<const char16_t*, const char*> cases[] = {
        {u"", ""},
        {u"a b\tc  d ", "[a][b][c][d]"},
        {u"a\" b \"c", "[a b c]"},     // quotes in the middle of a word
        {u"\"\" a \"\"", "[][a][]"},   // empty words
        {u"\"a b", "[a b]"},           // never closed
        {u"a\\b\\\\c", "[a\\b\\\\c]"}, // no quote follows
        {u"a\\\\\"b c\"", "[a\\b c]"},
        {u"a\\\\\\\"b c", "[a\\\"b][c]"},
        {u"\"a\\\\\" b", "[a\\][b]"},
        {u"\"a\"\"b\" c", "[a\"b][c]"}, // a quote between quotes
        {u"a\\", "[a\\]"},
        {u"'a b' $HOME *", "['a][b'][$HOME][*]"}, // no shell
        {u"\u00E4\u20AC \U0001F600", "[\u00E4\u20AC][\U0001F600]"},
    };
    for (const auto& [line, arguments] : cases) {
        SCOPED_TRACE(arguments);
        Process process = start(std::u16string(u"exec.arguments ") + line);
        EXPECT_EQ(readAll(*process.getInputStream()), arguments);
    }
}

/// This program again, running one of the entries, by the builder.
ProcessBuilder self(const char* entry) { return ProcessBuilder(SelfPath, {"--qx-child", entry}); }

TEST(ProcessBuilder, PassesOnWhatItIsGivenAndLeavesTheRestAsItIs) {
    ProcessBuilder print = self("exec.arguments");
    EXPECT_EQ(print.add({u"", u"\\\"", u"a\\", u"\n\t", u"\u00E4"}).run().output,
              "[][\\\"][a\\][\n\t][\u00E4]");
    setenv("QX_RAW", "\xFF", 1); // no text
    setenv("QX_GONE", "1", 1);
    ProcessBuilder about = self("exec.about");
    about.setVariable("QX_GONE", "2").setVariable("QX_NEW", "1").setVariable("QX_NEW", "2=");
    const std::string all = about.removeVariable("QX_GONE").run().output;
    for (const char* line : {"\nQX_RAW=\xFF\n", "\nPATH=", "\nQX_NEW=2=\n"})
        EXPECT_NE(all.find(line), std::string::npos) << line << all;
    for (const char* text : {"QX_GONE", "QX_NEW=1"})
        EXPECT_EQ(all.find(text), std::string::npos) << text << all;
    expectEach(result::InvalidArgument,
               {[&] { print.add(std::u16string_view(u"a\0b", 3)); },
                [&] { print.setVariable("A=B", ""); }, [&] { print.removeVariable(""); },
                [&] { print.inheritError().mergeError().start(); }});
}

TEST(Process, FinishesHoweverMuchGoesInAndOut) {
    const NothingLeft check;
    const SignalStorm storm;
    const std::string much(3'000'000, '\x01'), little = "x";
    for (const std::string& input : {much, little, std::string()}) {
        const ProcessResult result = self("exec.copy").run(input);
        EXPECT_EQ(result.output, input);
        EXPECT_EQ(result.error.size(), input.size());
        EXPECT_EQ(std::pair(result.exitCode, result.isTimedOut), std::pair(0, false));
    }
    // A child that wants nothing of it, no pipe to some of the streams, one that was closed.
    EXPECT_EQ(ProcessBuilder("sh", {"-c", "exec <&-; echo a; echo b >&2; exit 3"})
                  .mergeError()
                  .run(much, std::chrono::minutes(1))
                  .output,
              "a\nb\n");
    const auto closed = ProcessBuilder("cat").start();
    const auto out = closed->getOutputStream();
    out->write("1", 1);
    out->close();
    EXPECT_THROW(closed->finish("2"), IllegalStateException);
    EXPECT_EQ(closed->finish().output, "1");
    EXPECT_THROW(closed->finish(), IllegalStateException);
    EXPECT_THROW(ProcessBuilder("true").inheritInput().run("x"), IllegalStateException);
}

/// Each way in which a child ends, and each way to wait for it.
void endEach() {
    using namespace std::chrono_literals;
    const std::tuple<const char16_t*, int32_t, void (Process::*)()> cases[] = {
        {u"exit 0", 0, nullptr},
        {u"exit 255", 255, nullptr},
        {u"kill -USR1 $$", -SIGUSR1, nullptr},
        {u"", -SIGTERM, &Process::terminate},
        {u"", -SIGKILL, &Process::kill},
    };
    for (const auto& [script, expected, end] : cases) {
        const int32_t code = expected; // which lambdas can take
        SCOPED_TRACE(code);
        Process process = endingWith(script);
        expectEach("process has not been joined", {[&] { process.getExitCode(); }});
        EXPECT_FALSE(process.tryJoin() ||
                     process.waitFor(1ms)); // it waits for the end of its input
        EXPECT_EQ(::kill(static_cast<pid_t>(process.getId()), 0), 0);
        EXPECT_TRUE(holdsInFork([&] { // which has no child
            return failureOf([&] { process.kill(); }) == result::InvalidHandle &&
                   failureOf([&] { process.finish(); }) == result::InvalidHandle;
        }));
        BlockingThread waiting(
            [&] { EXPECT_TRUE(code < 0 ? process.waitFor(1min) : process.join() == code); });
        waiting.awaitBlocked();
        if (end != nullptr)
            (process.*end)();
        else
            process.getOutputStream()->close();
        waiting.join();
        EXPECT_EQ(process.getExitCode(), code);
        process.terminate(); // nothing happens, and to nobody else
        process.kill();
        const Calls calls{[&] { process.join(); }, [&] { process.tryJoin(); },
                          [&] { static_cast<void>(process.waitFor(0s)); },
                          [&] { process.getId(); }};
        expectEach("process already joined", calls);
        expectEach<IllegalStateException>(calls);
    }
}

TEST(Process, HandsBackTheExitCodeAndEndsWhenItIsTold) {
    endEach();
    Process process = start(u"exec.copy");
    // What the platform lacks.
    expectEach(result::NotAvailable, {[&] { process.getID(); }, [] { Process::joinChild(); }});
    EXPECT_THROW(static_cast<void>(process.clone()), CloneNotSupportedException);
    EXPECT_EQ(Process::getCurrentID(), static_cast<unsigned int>(getpid()));
}

QX_TEST_IN_CHILD(Process, FindsTheProgram) {
    const TemporaryFolder folder;
    writeFile(folder.path("print"), "#!/bin/sh\necho $0 $PWD\n");
    std::filesystem::permissions(folder.path("print"), std::filesystem::perms::owner_all);
    const std::filesystem::path path = folder.path();
    const std::string parent = path.parent_path(), name = path.filename();
    std::filesystem::current_path(parent);
    setenv("PATH", (name + "/none:" + name + ":/usr/bin:/bin").c_str(), 1);
    const std::u16string relative = path.filename().u16string() + u"/print";
    const std::u16string backslash = path.filename().u16string() + u"\\print";
    const std::string printed = name + "/print " + parent + "\n";
    using Text = const char16_t*;
    const std::tuple<Text, Text, Text, std::string> cases[] = {
        // the program, its command line and folder; what it prints
        {nullptr, u"echo 1 2", nullptr, "1 2\n"},   // in PATH
        {u"/bin/echo", nullptr, nullptr, "\n"},     // no arguments
        {u"/bin/echo", u"other 1", nullptr, "1\n"}, // called otherwise
        {relative.c_str(), nullptr, nullptr, printed},
        {backslash.c_str(), nullptr, nullptr, printed},
        {nullptr, relative.c_str(), nullptr, printed},
        // From the current folder, wherever the child starts.
        {relative.c_str(), nullptr, u"/", folder.path("print") + " /\n"},
        {nullptr, u"print", u"/", folder.path("print") + " /\n"},
    };
    for (const auto& [program, line, where, output] : cases)
        EXPECT_EQ(readAll(*Process(program, line, where, nullptr, 0).getInputStream()), output);
}

TEST(ProcessHandle, GivesTheCodeOnceAndIsNoOther) {
    constexpr QXHandle None = ~QXHandle{0};
    QXHandle streams[3], handle = None;
    const auto create = [](uint32_t flags, QXHandle* to, QXHandle* process) {
        return QXProcessCreate(nullptr, u"cat", nullptr, nullptr, flags, to, process);
    };
    expectEach(result::NullPointer, {create(0, nullptr, &handle), create(0, streams, nullptr),
                                     QXProcessJoin(None, nullptr)});
    ASSERT_EQ(create(QX_PROCESS_INHERIT_ERROR, streams, &handle), result::Ok);
    int32_t code = 7;
    expectEach(result::Ok,
               {QXFileClose(streams[0]), QXProcessJoin(handle, &code), QXFileClose(streams[1])});
    EXPECT_EQ(code, 0);
    for (const QXHandle none :
         {handle, QXHandle{0}, None, QXHandle{1} << 63, QXHandle{0x80000000u}}) {
        uint32_t number = 7;
        expectEach(result::InvalidHandle,
                   {QXProcessJoin(none, &(code = 7)), QXProcessGetExitCode(none, &code),
                    QXProcessTimedJoin(none, 1, &code), QXProcessTerminate(none),
                    QXProcessKill(none), QXProcessGetNumber(none, &number), QXProcessDetach(none)});
        EXPECT_EQ(std::pair(number, code), std::pair(0u, -1));
    }
}

TEST(Process, StreamsAreTheSameEachTimeMergeAndOutliveTheProcessAndItsJoin) {
    Reference<io::InputStream> in;
    Reference<io::OutputStream> out;
    {
        Process process = start(u"exec.copy", QX_PROCESS_MERGE_ERROR);
        in = process.getInputStream();
        out = process.getOutputStream();
        EXPECT_EQ(process.getInputStream(), in);
        EXPECT_EQ(process.getOutputStream(), out);
        EXPECT_EQ(process.getErrorStream(), process.getErrorStream());
        EXPECT_THROW(process.getErrorStream()->read(), ResultException);
    }
    in->close(); // does not own the handle
    out->write("x", 1);
    EXPECT_EQ(in->read(), 'x');
    out.reset(); // the last that held the child's input
    EXPECT_EQ(readAll(*in), std::string(1, static_cast<char>(~'x')));

    Process joined = start(u"exec.copy");
    out = joined.getOutputStream();
    out->write(std::string(30'000, 'x').data(), 30'000);
    out->close();
    EXPECT_THROW(out->write("y", 1), ResultException);
    EXPECT_EQ(joined.join(), 0);
    for (const auto& each : {joined.getInputStream(), joined.getErrorStream()})
        EXPECT_EQ(readAll(*each).size(), 30'000u);
}

/// Starts a child with the standard streams of its own; argument: flags.
const ChildEntry passOnEntry("exec.passOn", [](const auto& arguments) {
    const auto flags = static_cast<unsigned int>(std::stoul(arguments[0]));
    return static_cast<int>(start(u"exec.copy", flags).join());
});

TEST(Process, InheritsStreamsThatItIsTold) {
    static_assert(InheritAll == 14);
    const std::tuple<const char16_t*, const char*, const char*> cases[] = {
        {u"exec.passOn 14", "\x01", "\xFE"},
        {u"exec.passOn 7", "\x01\xFE", ""}}; // error output to the inherited output
    for (const auto& [entry, output, error] : cases) {
        const auto result = start(entry).finish("\x01");
        EXPECT_EQ(std::tuple(result.output, result.error, result.exitCode),
                  std::tuple(output, error, 0));
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
    if (runsEmulated())
        GTEST_SKIP() << "the emulator makes a fork of posix_spawn, which then cannot fail so";
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
        uint32_t code;
        const char16_t* folder = nullptr;
        const char16_t* const* environment = nullptr;
        unsigned int flags = 0;
    } cases[] = {
        {"missing", in("missing"), nullptr, 0x80070002},
        {"below a file", in("text/program"), nullptr, 0x80070003},
        {"folder", String::fromUtf8(folder.path()), nullptr, 0x80070005},
        {"not executable", in("text"), nullptr, 0x80070005},
        {"no program", in("script"), nullptr, 0x800700C1},
        {"not in PATH", {}, u"qx-no-such-program 1", 0x80070002},
        {"no word", {}, u" \t ", 0x80070057},
        {"nothing", {}, nullptr, 0x80070057},
        {"empty name", {}, u"\"\" x", 0x80070002},
        {"drive", {}, u"c:\\true.exe", 0x80070002},
        {"no folder", {}, u"true", 0x8007010B, noFolder.getData()},
        {"no variable", {}, u"true", 0x80070057, nullptr, nameless},
        {"no name", {}, u"true", 0x80070057, nullptr, emptyName},
        {"too long", {}, longLine.c_str(), 0x800700CE},
        {"no text", {}, u"true \xD800", 0x8BB34102},
        {"unknown flag", {}, u"true", 0x80070057, nullptr, nullptr, 16},
        {"merged and inherited", {}, u"true", 0x80070057, nullptr, nullptr, 9},
    };
    const NothingLeft check;
    for (const auto& c : cases) {
        const auto attempt = [&] {
            Process(c.executable.isEmpty() ? nullptr : c.executable.getData(), c.commandLine,
                    c.folder, c.environment, c.flags);
        };
        EXPECT_EQ(failureOf(attempt), static_cast<int32_t>(c.code)) << c.what;
    }
    std::filesystem::create_symlink("loop", folder.path("loop"));
    const auto told = [&](const char16_t* line, const String& where) {
        return descriptionOf<std::exception>(
            [&] { Process(nullptr, line, where.getData(), nullptr, 0); });
    };
    EXPECT_EQ(told(u" no\" such\" 1", u"/"_qs), "no such: not found (0x80070002)");
    EXPECT_EQ(told(u"true", in("loop")).find(folder.path("loop") + ": Too many levels"), 0u);
}

/// Runs out of descriptors between two pipes, and between pipes and process descriptor.
QX_TEST_IN_CHILD(ProcessChild, RunsOutOfDescriptorsWithoutHarm) {
    if (Sanitized)
        GTEST_SKIP() << "a sanitizer needs descriptors for its own checks";
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
}

QX_TEST_IN_CHILD(ProcessChild, WorksInAProgramWithoutStandardStreams) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        close(stream);
    const ProcessResult result = start(u"exec.copy").finish("\x01");
    EXPECT_EQ(std::tuple(result.output, result.error, result.exitCode),
              std::tuple("\x01", "\xFE", 0));
}

/// True when the kernel tells the status of children that it has thrown away itself.
bool kernelRemembersStatus() {
    utsname name;
    uname(&name);
    int major = 0, minor = 0;
    std::sscanf(name.release, "%d.%d", &major, &minor);
    return major > 6 || (major == 6 && minor >= 15);
}

QX_TEST_IN_CHILD(ProcessChild, IsJoinedInAProgramThatIgnoresItsChildren) {
    signal(SIGCHLD, SIG_IGN);
    const NothingLeft check;
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
}

/// Leaves a child behind that runs on, as does a fork of this program.
QX_TEST_IN_CHILD(ProcessChild, ProgramEndsWhileAChildThatItLeftRuns) {
    if (!ChildHasMemory)
        GTEST_SKIP() << "to look for leaks at its end it needs the sanitizer's lock";
    Process(nullptr, u"sleep 1", nullptr, nullptr, InheritAll);
    if (fork() == 0)
        exit(0); // with the list of its parent's children, but not its threads
    int status = -1;
    wait(&status);
    EXPECT_EQ(status, 0);
}

TEST(Process, LeaveNothingBehindWhateverIsDoneWithThem) {
    constexpr int Starters = 4;
    constexpr int Each = Sanitized ? 50 : 2500;
    const NothingLeft check;
    inThreads(Starters, [](int starter) {
        for (int i = 0; i < Each; ++i) {
            Process process(nullptr, u"true", nullptr, nullptr, 0);
            const int way = (i + starter) % 5;
            if (way == 0)
                EXPECT_EQ(process.join(), 0);
            else if (way == 1)
                EXPECT_TRUE(eventually([&] { return process.tryJoin(); }));
            else if (way == 2) // has mostly ended when it is dropped; otherwise still runs
                static_cast<void>(readAll(*process.getInputStream()));
        }
    });
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
QX_TEST_IN_CHILD(ProcessChild, ManagesWithoutDescriptorsOfProcesses) {
    ASSERT_TRUE(refuseCall(SYS_pidfd_open, ENOSYS));
    endEach();
    const NothingLeft check;
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
}

} // namespace
