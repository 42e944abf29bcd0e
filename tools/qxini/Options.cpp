#include "Options.h"

#include <qx/util/config/CommandLineParser.h>

#include "tools/common/Program.h"

using qx::String;
using qx::util::CommandLineParser;
using Command = Options::Command;

namespace {

constexpr char Synopsis[] =
    R"(usage: qxini FILE get SET KEY
       qxini FILE set SET KEY VALUE [--keep]
       qxini FILE delete SET KEY
       qxini FILE delete-set SET
       qxini FILE list [SET] [--json]
       qxini FILE sets [SET] [--json]

Shows and changes an INI file: sets of key=value lines. Letter case does not matter in the
names of sets and keys, nor do blanks around a value. A set "A\B" is a subset of "A".
Every command takes --semaphore NAME.

  get         prints a value
  set         sets a value; set and key, and the file, are made as needed
  delete      deletes a key
  delete-set  deletes a set and its subsets
  list        prints the keys of a set with their values, or all sets with theirs
  sets        prints the names of the sets, or of the subsets right below a set

A change touches only the lines that it is about; all others stay as they are,
byte for byte. A value that ends in "\" goes on in the next line. What could
only be changed by a guess is refused, with the line: a key that stands there
more than once, say, or a comment inside a value.

)";

constexpr char Statuses[] =
    R"(
"--" ends the options, for a VALUE that begins with "-".
Exit status: 0 done, 1 it does not exist or cannot be done, 2 usage.
)";

struct CommandRow {
    std::u16string_view name;
    Command command;
    int32_t fewest, most; ///< parameters behind the command's name
};

constexpr CommandRow Commands[] = {
    {u"get", Command::Get, 2, 2},       {u"set", Command::Set, 3, 3},
    {u"delete", Command::Delete, 2, 2}, {u"delete-set", Command::DeleteSet, 1, 1},
    {u"list", Command::List, 0, 1},     {u"sets", Command::Sets, 0, 1},
};

constexpr OptionRow KnownOptions[] = {
    {u"json", nullptr, nullptr, u"list, sets", u"print JSON"},
    {u"keep", nullptr, nullptr, u"set", u"fail when the key is there"},
    {u"semaphore", u"NAME", nullptr, nullptr,
     u"by which the processes that share the file take turns"},
};

std::string helpText() { return Synopsis + Program::usageOf(KnownOptions) + Statuses; }

constexpr Program Self{"qxini", helpText};

Failure usage(const String& mistake) { return Self.usage(mistake.toUtf8()); }

/// The parameters: file, command, and what that takes.
void readParameters(const CommandLineParser& parser, Options& options) {
    int32_t next = 0;
    const int32_t count = parser.getParameterCount();
    const auto take = [&](std::optional<String>& to) {
        if (next < count)
            to = parser.getParameter(next++)->getValueString(0);
    };
    std::optional<String> file, command;
    take(file);
    take(command);
    if (!command)
        throw usage(file ? u"no command" : u"no file");
    options.command = Self.commandOf(Commands, *command, count - next).command;
    Self.requireFitting(parser, KnownOptions, *command);
    options.file = *file;
    take(options.set);
    take(options.key);
    take(options.value);
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    CommandLineParser parser = Program::parserOf(KnownOptions);
    Self.parse(parser, argc, argv);
    Options options;
    readParameters(parser, options);
    options.json = parser.isPresent(u"json");
    options.keep = parser.isPresent(u"keep");
    if (parser.isPresent(u"semaphore")) {
        options.semaphore = parser.getValueString(u"semaphore", 0);
        if (options.semaphore->isEmpty())
            throw usage(u"--semaphore takes a name");
    }
    return options;
}
