#include "Options.h"

#include <cstdint>
#include <iterator>

#include <qx/util/config/CommandLineParser.h>

#include "tools/common/Program.h"

using qx::String;
using qx::util::CommandLineParser;
using Command = Options::Command;

namespace {

constexpr char Synopsis[] =
    R"(usage: qxbundle check FILE...
       qxbundle compile FILE... [--output FILE]
       qxbundle install FILE... [--module FILE]
       qxbundle uninstall BASE
       qxbundle list [BASE]
       qxbundle get BASE KEY [--locale LOCALE]

Looks after the messages of programs. The file BASE.LOCALE.messages has those of the bundle
BASE in one language: lines of UTF-8 text with a key, "=" and the message in which {0}, {1}
and so on stand for arguments; "#" begins a comment. For a FILE that is a folder all message
files in it are taken.

  check      prints what is wrong with the files, and where those of a base, if nothing is,
             differ: keys that one of them does not have, other arguments in the messages of
             a key
  compile    writes the source of a C++ component module with the messages in it
  install    enters the files into the registry, all or none, so that programs find them
             where they are
  uninstall  takes all files of a base out of it
  list       prints the bundles of the registry: base, locale, and the file that has the
             messages or the module
  get        prints the message that programs get, by the locale of the user or LOCALE

In a message or key "\n", "\t" and "\r" are control characters, "\uXXXX" is a UTF-16 unit,
"\" before "\", "=", "#" or a blank takes that as it is, and at the end of a line lets the
next one go on. What de_CH does not have programs take from de. Every command takes
--registry FOLDER.

)";

constexpr char Statuses[] =
    R"(
Exit status: 0 done, 1 something is wrong or missing, 2 usage.
)";

constexpr int32_t Any = INT32_MAX;

struct CommandRow {
    std::u16string_view name;
    Command command;
    int32_t fewest, most; ///< parameters behind the command's name
};

constexpr CommandRow Commands[] = {
    {u"check", Command::Check, 1, Any},     {u"compile", Command::Compile, 1, Any},
    {u"install", Command::Install, 1, Any}, {u"uninstall", Command::Uninstall, 1, 1},
    {u"list", Command::List, 0, 1},         {u"get", Command::Get, 2, 2},
};

constexpr OptionRow KnownOptions[] = {
    {u"locale", u"LOCALE", nullptr, u"get", u"language, language_COUNTRY, with @variant"},
    {u"module", u"FILE", nullptr, u"install",
     u"qxmessages.so, which else is the one that came with this program"},
    {u"output", u"FILE", nullptr, u"compile", u"the source, else standard output"},
    {u"registry", u"FOLDER", nullptr, nullptr, u"use the registry in this folder"},
};

std::string helpText() { return Synopsis + Program::usageOf(KnownOptions) + Statuses; }

constexpr Program Self{"qxbundle", helpText};

Failure usage(const String& mistake) { return Self.usage(mistake.toUtf8()); }

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    CommandLineParser parser = Program::parserOf(KnownOptions);
    Self.parse(parser, argc, argv);
    Options options;
    const int32_t count = parser.getParameterCount();
    if (count == 0)
        throw usage(u"no command");
    const String name = parser.getParameter(0)->getValueString(0);
    options.command = Self.commandOf(Commands, name, count - 1).command;
    Self.requireFitting(parser, KnownOptions, name);
    for (int32_t next = 1; next < count; ++next)
        options.parameters.push_back(parser.getParameter(next)->getValueString(0));

    const auto take = [&](const char16_t* option, std::optional<String>& to) {
        if (parser.isPresent(option))
            to = parser.getValueString(option, 0);
    };
    take(u"output", options.output);
    take(u"module", options.module);
    take(u"locale", options.locale);
    take(u"registry", options.registry);
    return options;
}
