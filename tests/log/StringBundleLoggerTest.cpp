#include <qx/collections/List.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/Implements.h>
#include <qx/core/Integer.h>
#include <qx/i18n/StringBundleLogger.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/MapBundle.h"

using namespace qx;
using namespace qx::literals;
using log::StringBundleLogger;
using qxtest::MapBundle;

namespace {

class Target : public qx::pcom::Implements<Object, log::ILevelLogger> {
public:
    void log(int level, const String& text) override {
        logged = std::to_string(level) + " " + text.toUtf8();
        if (fails)
            throw Exception(u"refused"_qs);
    }

    std::string logged;
    bool fails = false;
};

/// An argument without a text.
class Textless : public Object {
public:
    String toString() const override { throw Exception(u"no text"_qs); }
};

using Arguments = std::vector<Reference<Object>>;

Reference<collections::List<Object>> listOf(const Arguments& arguments) {
    const auto wrapped = makeReference<collections::pcom::ArrayList>();
    for (const auto& argument : arguments)
        wrapped->add(argument ? argument->GetUnknown() : nullptr);
    return makeReference<collections::List<Object>>(wrapped.get());
}

Reference<Object> text(const char16_t* units) { return makeReference<String>(units); }

TEST(StringBundleLogger, PutsArgumentsInTheirPlaces) {
    const auto x = text(u"x"), y = text(u"y"), z = text(u"z"), braces = text(u"{1}{0}");
    Arguments eleven;
    std::u16string elevenPlaces;
    for (int i = 0; i < 11; ++i) {
        eleven.push_back(makeReference<Integer32>(i + 100));
        elevenPlaces += u"{" + std::u16string(String().append(i).view()) + u"}";
    }
    const struct {
        std::u16string message;
        Arguments arguments;
        const char* expected;
    } cases[] = {
        {u"a {0} b {1} {0}", {x, y}, "7 a x b y x"},
        {u"a {0} b {1} {0}", {x}, "7 a {0} b {1} {0}"}, // an argument is missing
        {u"{0}", {}, "7 {0}"},
        {u"{0} {2}", {x, y, z}, "7 x {2}"}, // nothing behind a gap
        {u"{1} {2}", {x, y, z}, "7 {1} {2}"},
        {u"{0}-{1}-{0}", {braces, y}, "7 {1}{0}-y-{1}{0}"}, // arguments are not searched
        {u"{{0}}", {x}, "7 {x}"},
        {u"{00} {+0} { 0} {0", {x}, "7 {00} {+0} { 0} {0"}, // no placeholders
        {u"{0}{18446744073709551616}{99999999999999999999999}",
         {x},
         "7 x{18446744073709551616}{99999999999999999999999}"},
        {elevenPlaces, eleven, "7 100101102103104105106107108109110"},
        {u"<{0}>", {nullptr}, "7 <>"},
        {u"{0}{1}", {x, makeReference<Textless>()}, "7 {0}{1}"}, // all or nothing
    };
    for (const auto& c : cases) {
        const auto target = makeReference<Target>();
        const auto bundle = makeReference<MapBundle>(MapBundle::Texts{{u"key", c.message}});
        makeReference<StringBundleLogger>(bundle, target)->log(7, u"key"_qs, *listOf(c.arguments));
        EXPECT_EQ(target->logged, c.expected);
    }
}

TEST(StringBundleLogger, LogsTheKeyWhenThereIsNoText) {
    const auto target = makeReference<Target>();
    const auto bundle = makeReference<MapBundle>(MapBundle::Texts{{u"key", u"text {0}"}});
    const auto logger = makeReference<StringBundleLogger>(bundle, target);
    const auto list = listOf({text(u"x")});
    logger->log(1, u"key"_qs);
    EXPECT_EQ(target->logged, "1 text {0}");
    logger->log(2, u"none {0}"_qs);
    EXPECT_EQ(target->logged, "2 none {0}");
    logger->log(3, u"none {0}"_qs, *list);
    EXPECT_EQ(target->logged, "3 none {0}") << "a key is no text to put arguments into";
    target->fails = true;
    EXPECT_THROW(logger->log(4, u"key"_qs), Exception);
    EXPECT_THROW(logger->log(4, u"key"_qs, *list), Exception);
    EXPECT_EQ(qxtest::failureOf([&] { makeReference<StringBundleLogger>(bundle, nullptr); }),
              result::NullPointer);
}

} // namespace
