#include <filesystem>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/util/FilePath.h>
#include <qx/util/SystemName.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestLocale.h"

namespace {

using namespace qx;
using util::fromSystemName;
using util::toSystemName;

/// The description of a refusal; empty when there was none.
template <class Body>
std::string refusal(Body body) {
    try {
        body();
        return {};
    } catch (const ResultException& exception) {
        EXPECT_EQ(exception.getResult(), result::UnmappableCharacter);
        return exception.getDescription().toUtf8();
    }
}

TEST(SystemName, IsConvertedAsItIsOrRefused) {
    const struct {
        const char* codeSet; ///< of a German locale; null for the C locale
        String text;
        std::string name;
        std::string refusedText, refusedName; ///< how the refusals begin
    } rows[] = {
        {nullptr, u"ä€\uFFFD😀"_qs, "ä€\uFFFD😀", "", ""},
        {nullptr, u"a\xD800"_qs, "\xE4.dat",
         "\"a\uFFFD\" has no form in the default encoding UTF-8",
         "\"\\xE4.dat\" is no text in the default encoding UTF-8"},
        {nullptr, String(u"a\0b", 3), "a\xED\xA0\x80", "\"a",
         "\"a\\xED\\xA0\\x80\" is"},                                    // a surrogate
        {nullptr, u"\xDC00"_qs, "\xC0\xAF", "\"", "\"\\xC0\\xAF\" is"}, // over-long
        {"ISO-8859-1", u"ä\u0080"_qs, "\xE4\x80", "", ""},
        {"ISO-8859-1", u"ł"_qs, "a", "\"ł\" has no form in the default encoding ISO-8859-1", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const qxtest::TestLocale locale =
            row.codeSet ? qxtest::TestLocale("de_DE", row.codeSet) : qxtest::TestLocale("C");
        if (!locale.isSet())
            continue;
        const std::string text = refusal([&] { EXPECT_EQ(toSystemName(row.text), row.name); });
        const std::string name =
            refusal([&] { EXPECT_EQ(toSystemName(fromSystemName(row.name.c_str())), row.name); });
        EXPECT_EQ(text.substr(0, row.refusedText.size()), row.refusedText);
        EXPECT_EQ(name.substr(0, row.refusedName.size()), row.refusedName);
        EXPECT_EQ(text.empty() && name.empty(), row.refusedText.empty());
    }
    EXPECT_EQ(fromSystemName(nullptr), String());
}

TEST(SystemName, OfTheCurrentFolderIsNoOtherOne) {
    const qxtest::TemporaryFolder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::create_directory(folder.path("\xFF"));
    std::filesystem::current_path(folder.path("\xFF"));
    EXPECT_NE(refusal([] { util::FilePath::getCurrentDir(); }), "");
    std::filesystem::current_path(before);
}

} // namespace
