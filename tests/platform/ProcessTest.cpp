#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/files.h>
#include <qx/platform/module.h>
#include <qx/platform/process.h>
#include <qx/platform/result.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace qxtest;

namespace {

constexpr QXHandle None = ~QXHandle{0};

/// A child as a C program holds it.
struct Child {
    QXHandle streams[3] = {None, None, None};
    QXHandle handle = None;

    int32_t create(const char16_t* path, const char16_t* commandLine,
                   const char16_t* folder = nullptr) {
        return QXProcessCreate(path, commandLine, folder, nullptr, QX_PROCESS_MERGE_ERROR, streams,
                               &handle);
    }
    ~Child() {
        for (const QXHandle stream : streams)
            QXFileClose(stream);
        if (handle != None)
            QXProcessDetach(handle);
    }

    std::string output() {
        std::string all;
        char block[1000];
        int32_t count = 0;
        while (QXFileRead(streams[1], block, sizeof block, &count) >= 0 && count > 0)
            all.append(block, static_cast<size_t>(count));
        return all;
    }
};

/// Prints its arguments in brackets.
const ChildEntry argumentsEntry("platform.arguments", [](const auto& arguments) {
    for (const auto& argument : arguments)
        std::printf("[%s]", argument.c_str());
    return 0;
});

TEST(PlatformProcess, SplitsTheCommandLineIntoArguments) {
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
        Child child;
        const std::u16string line = childCommand(u"platform.arguments").append(u" ").append(c.line);
        ASSERT_EQ(child.create(SelfPath, line.c_str()), result::Ok);
        EXPECT_EQ(child.output(), c.arguments);
    }
}

TEST(PlatformProcess, FindsTheProgram) {
    const TemporaryFolder folder;
    writeFile(folder.path("print"), "#!/bin/sh\necho $0 $PWD\n");
    ASSERT_EQ(chmod(folder.path("print").c_str(), 0700), 0);
    const std::string parent = folder.path().substr(0, folder.path().rfind('/'));
    const std::string name = folder.path().substr(parent.size() + 1);
    const auto wide = [](const std::string& text) {
        return std::u16string(text.begin(), text.end());
    };
    char current[4096];
    ASSERT_NE(getcwd(current, sizeof current), nullptr);
    ASSERT_EQ(chdir(parent.c_str()), 0);

    const std::u16string relative = wide(name + "/print");
    const std::u16string backslash = wide(name + "\\print");
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
        Child child;
        EXPECT_EQ(child.create(c.path, c.line, c.folder), result::Ok);
        EXPECT_EQ(child.output(), c.output);
    }
    EXPECT_EQ(chdir(current), 0);
}

TEST(PlatformProcess, GivesTheCodeOnce) {
    Child child;
    ASSERT_EQ(child.create(nullptr, u"cat"), result::Ok);
    EXPECT_EQ(child.streams[2], None);
    int32_t code = 0;
    EXPECT_EQ(QXProcessGetExitCode(child.handle, &code), result::Busy);
    EXPECT_EQ(code, -1);
    QXFileClose(std::exchange(child.streams[0], None));
    EXPECT_EQ(QXProcessJoin(child.handle, &code), result::Ok);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(QXProcessJoin(child.handle, &code), result::InvalidHandle);
    EXPECT_EQ(code, -1);
    child.handle = None;
}

TEST(PlatformProcess, RefusesWhatIsNoProcess) {
    int32_t code = 0;
    for (const QXHandle handle : {QXHandle{0}, None, QXHandle{1} << 63, QXHandle{0x80000000u}}) {
        EXPECT_EQ(QXProcessJoin(handle, &code), result::InvalidHandle);
        EXPECT_EQ(QXProcessGetExitCode(handle, &code), result::InvalidHandle);
        EXPECT_EQ(QXProcessDetach(handle), result::InvalidHandle);
    }
    Child child;
    EXPECT_EQ(QXProcessCreate(nullptr, u"true", nullptr, nullptr, 0, nullptr, &child.handle),
              result::NullPointer);
    EXPECT_EQ(QXProcessCreate(nullptr, u"true", nullptr, nullptr, 0, child.streams, nullptr),
              result::NullPointer);
}

TEST(PlatformLibrary, IsOpenedByLiveModulesAndClosedByAny) {
    const int module = 0;
    QXHandle library = 1;
    EXPECT_EQ(QXModuleLibOpen(&module, u"libm.so.6", &library), result::InvalidHandle);
    EXPECT_EQ(library, None);
    EXPECT_EQ(QXModuleLibOpen(nullptr, u"libm.so.6", &library), result::NullPointer);
    ASSERT_EQ(QXModuleSetInitialized(&module, 1), result::Ok);
    EXPECT_EQ(QXModuleLibOpen(&module, u"libm.so.6", &library), result::Ok);
    ASSERT_EQ(QXModuleSetInitialized(&module, 0), result::Ok);
    void* symbol = &library;
    EXPECT_EQ(QXLibGetSymbol(None, u"cos", &symbol), result::InvalidHandle);
    EXPECT_EQ(symbol, nullptr);
    EXPECT_EQ(QXModuleLibClose(&module, library), result::Ok);
    EXPECT_EQ(QXModuleLibClose(&module, None), result::InvalidHandle);
    EXPECT_EQ(QXModuleLibClose(nullptr, library), result::NullPointer);
}

} // namespace
