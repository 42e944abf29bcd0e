#include <dlfcn.h>

#include <qx/core/String.h>
#include <qx/exec/SharedLibrary.h>
#include <qx/platform/module.h>

#include "tests/exec/ExecTesting.h"
#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace qx::exec;
using namespace qxtest;

namespace {

/// A library of the system that nothing here is linked to.
constexpr char16_t LibraryName[] = u"libanl.so.1";

bool isLoaded() {
    void* const handle = dlopen("libanl.so.1", RTLD_NOW | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
}

TEST(SharedLibrary, IsLoadedAsLongAsItsObjectLives) {
    ASSERT_FALSE(isLoaded());
    {
        const SharedLibrary library(LibraryName);
        EXPECT_TRUE(isLoaded());
        { const SharedLibrary again(LibraryName); }
        EXPECT_TRUE(isLoaded());
    }
    EXPECT_FALSE(isLoaded());
}

TEST(SharedLibrary, FindsFunctionsToCall) {
    const SharedLibrary library(u"libm.so.6");
    const auto cosine = reinterpret_cast<double (*)(double)>(library.getSymbol(u"cos"));
    EXPECT_EQ(cosine(0), 1.0);
    for (const char16_t* name :
         {u"qx_no_such_symbol", u"", u"c\u00F6s", static_cast<const char16_t*>(nullptr)}) {
        EXPECT_EQ(expectThrows<ResultException>(u"Failed to get symbol.",
                                                [&] { library.getSymbol(name); }),
                  name ? static_cast<int32_t>(0x8007007Fu) : result::NullPointer);
    }
}

TEST(SharedLibrary, TellsWhyItCannotBeOpened) {
    const TemporaryFolder folder;
    writeFile(folder.path("text"), "no library");
    writeFile(folder.path("short"), "\x7F");
    writeFile(folder.path("damaged"), "\177ELF and then nothing of the kind");
    const auto in = [&folder](const char* name) { return String::fromUtf8(folder.path(name)); };
    const std::pair<String, uint32_t> cases[] = {
        {u"libqx-no-such-library.so.1"_qs, 0x8007007E},
        {in("missing"), 0x80070002},
        {in("text"), 0x800700C1},
        {in("short"), 0x800700C1},
        {in("damaged"), 0x8007007E},
        {String::fromUtf8(folder.path()), 0x80070005},
        {String(), 0x80070002},
        {u"c:\\library"_qs, 0x80070002},
    };
    const auto codeOf = [](const char16_t* path) {
        return expectThrows<ResultException>(u"Failed to open shared library.",
                                             [&] { SharedLibrary library(path); });
    };
    for (const auto& [path, code] : cases)
        EXPECT_EQ(codeOf(path.getData()), static_cast<int32_t>(code)) << path.toUtf8();
    EXPECT_EQ(codeOf(nullptr), result::NullPointer);
}

TEST(LibraryHandle, IsOpenedByLiveModulesAndClosedByAny) {
    const int module = 0;
    QXHandle library = 1;
    EXPECT_EQ(QXModuleLibOpen(&module, u"libm.so.6", &library), result::InvalidHandle);
    EXPECT_EQ(library, ~QXHandle{0});
    EXPECT_EQ(QXModuleLibOpen(nullptr, u"libm.so.6", &library), result::NullPointer);
    ASSERT_EQ(QXModuleSetInitialized(&module, 1), result::Ok);
    EXPECT_EQ(QXModuleLibOpen(&module, u"libm.so.6", &library), result::Ok);
    ASSERT_EQ(QXModuleSetInitialized(&module, 0), result::Ok);
    void* symbol = &library;
    EXPECT_EQ(QXLibGetSymbol(~QXHandle{0}, u"cos", &symbol), result::InvalidHandle);
    EXPECT_EQ(symbol, nullptr);
    EXPECT_EQ(QXModuleLibClose(&module, library), result::Ok);
    EXPECT_EQ(QXModuleLibClose(&module, ~QXHandle{0}), result::InvalidHandle);
    EXPECT_EQ(QXModuleLibClose(nullptr, library), result::NullPointer);
}

} // namespace
