// Calls given texts, names and bytes as the standard library has them.

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace std::string_view_literals;

namespace {

const std::string Utf8 = "k\xC3\xA4se";
const String Text(u"k\u00E4se");

} // namespace

TEST(StandardText, NamesFilesAndIsWrittenUnlessItWouldMeanSomethingElse) {
    const qxtest::TemporaryFolder folder;
    const std::filesystem::path path = folder.path(Utf8);
    const std::vector<std::byte> bytes(3, std::byte{'-'});
    io::FileOutputStream(path, false).write(std::span(bytes));
    io::FileOutputStream(path.native(), true).write(u8"!");
    EXPECT_EQ(qxtest::readFile(path), "---!");
    signed char first[4];
    EXPECT_EQ(io::FileInputStream(path.u16string()).read(first, 4), 4);
    EXPECT_EQ(util::FilePath(path).getName(), Text);
    const char data[] = {1, 0, 2};
    EXPECT_EQ(ByteView(data).length() + ByteView("a\0b").length(), 6);

    for (const auto name : {"\xFF"sv, "a\0b"sv})
        EXPECT_THROW(io::FileInputStream(std::filesystem::path(name)), ResultException);
    EXPECT_THROW(io::FileInputStream("\xFF"), text::charset::InvalidCharacterException);
    util::IniFile ini(path);
    EXPECT_THROW(ini.AddKey("a\0b"sv, "key", "value", true), ResultException);
    EXPECT_EQ(ini.AddKey(u"set", Utf8, Text, true), result::Ok);
    EXPECT_EQ(ini.view().find("set", Text), Text.view());

    const auto collected = makeReference<io::StringWriter>();
    io::PrintWriter out(collected);
    out.print(std::string_view());
    out.println(Text.view());
    out.println(U'\U0001F600');
    EXPECT_EQ(collected->toString(), Text + u"\n\U0001F600\n");
}
