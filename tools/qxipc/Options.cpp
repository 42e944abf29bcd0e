#include "Options.h"

#include <algorithm>

#include <qx/util/config/CommandLineParser.h>

#include "tools/common/Program.h"

using qx::String;
using qx::util::CommandLineParser;
using Command = Options::Command;

namespace {

constexpr char Synopsis[] =
    R"(usage: qxipc list [NAME] [--json]
       qxipc watch [NAME] [--json] [--count N] [--interval MS]
       qxipc clean [--json]

Shows the locks, signals and blocks of memory that processes of this user share by name:
the kind of each, its name and value, who holds it, who waits for it, and who died with it.

  list   prints all objects, or those of that name, and is what is done without a command
  watch  prints them again whenever something has changed
  clean  removes what killed processes left and nobody uses, and prints what that was

A process that died with something is listed as "dead" until another takes its place in the
object, or what it held. "left by the dead" says that the next holder will be told of a death,
whether or not the dead one is still listed. The file of an object has no user when all
processes that used it were killed; the next process that opens one of that name takes it as
new, cleaned or not.

)";

constexpr char Statuses[] =
    R"(
Exit status: 0 done, 1 it does not exist or cannot be done, 2 usage.
)";

struct CommandRow {
    std::u16string_view name;
    Command command;
    int32_t fewest, most; ///< parameters behind the command's name
};

constexpr CommandRow Commands[] = {
    {u"list", Command::List, 0, 1},
    {u"watch", Command::Watch, 0, 1},
    {u"clean", Command::Clean, 0, 0},
};

constexpr OptionRow KnownOptions[] = {
    {u"count", u"N", u"0", u"watch", u"end after so many states, 0 never"},
    {u"interval", u"MS", u"500", u"watch", u"milliseconds between two looks"},
    {u"json", nullptr, nullptr, nullptr, u"print JSON, one state a line with watch"},
};

std::string helpText() { return Synopsis + Program::usageOf(KnownOptions) + Statuses; }

constexpr Program Self{"qxipc", helpText};

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    CommandLineParser parser = Program::parserOf(KnownOptions);
    Self.parse(parser, argc, argv);
    Options options;
    const int32_t count = parser.getParameterCount();
    const String name = count > 0 ? parser.getParameter(0)->getValueString(0) : String(u"list");
    options.command = Self.commandOf(Commands, name, std::max(count - 1, 0)).command;
    Self.requireFitting(parser, KnownOptions, name);
    if (count > 1)
        options.name = parser.getParameter(1)->getValueString(0);
    options.json = parser.isPresent(u"json");
    options.interval = Self.numberOf(parser, u"interval", 1);
    options.count = Self.numberOf(parser, u"count", 0);
    return options;
}
