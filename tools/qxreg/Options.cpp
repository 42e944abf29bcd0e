#include "Options.h"

#include <string_view>

#include <qx/core/Exception.h>
#include <qx/util/config/CommandLineParser.h>

#include "ValueText.h"
#include "tools/common/Program.h"

using qx::String;
using qx::util::CommandLineParser;
using Command = Options::Command;

namespace {

constexpr char Synopsis[] =
    R"(usage: qxreg query KEY [NAME] [--recursive] [--json]
       qxreg add KEY [NAME VALUE] [--type string|uint32|uint64|bytes]
       qxreg delete KEY [NAME]
       qxreg export KEY [FILE]
       qxreg import [FILE]
       qxreg watch KEY [--json] [--count N] [--interval MS]
       qxreg register MODULE
       qxreg unregister MODULE
       qxreg list [--json]

Shows and changes the registry. A key is a root (QX_HKEY_USER, or QX_HKEY_CLASSES or
QX_HKEY_CONFIG, these also with _32, _64 or _CROSS), or that with "\" or "/" and a path.
The empty NAME is the key's default value; bytes are given in hexadecimal. Every command
takes --registry FOLDER.

  query       prints the value NAME as it is, or all values and subkeys of the key
  add         sets a value, or makes a key without values
  delete      deletes a value, or the key with all below it
  export      writes the key with all below it as text, import reads that, in whole or not
              at all for each root; without FILE or for "-" the standard streams
  watch       prints what changes below the key
  register    enters the classes of a component module, a shared library
  unregister  takes them out again, also when the file is gone
  list        prints the registered classes: name, identifier, description, file of the
              module, and "missing" where that is gone

)";

constexpr char Statuses[] =
    R"(
"--" ends the options, for a VALUE that begins with "-".
Exit status: 0 done, 1 it does not exist or cannot be done, 2 usage.
)";

struct CommandRow {
    std::u16string_view name;
    Command command;
    bool takesKey;
    bool takesFile;       ///< as the last parameter
    int32_t fewest, most; ///< parameters behind the command's name
};

// clang-format off
constexpr CommandRow Commands[] = {
    {u"query",      Command::Query,      true,  false, 1, 2},
    {u"add",        Command::Add,        true,  false, 1, 3},
    {u"delete",     Command::Delete,     true,  false, 1, 2},
    {u"export",     Command::Export,     true,  true,  1, 2},
    {u"import",     Command::Import,     false, true,  0, 1},
    {u"watch",      Command::Watch,      true,  false, 1, 1},
    {u"register",   Command::Register,   false, true,  1, 1},
    {u"unregister", Command::Unregister, false, true,  1, 1},
    {u"list",       Command::List,       false, false, 0, 0},
};
// clang-format on

constexpr OptionRow KnownOptions[] = {
    {u"count", u"N", u"0", u"watch", u"end after so many changes, 0 never"},
    {u"interval", u"MS", u"100", u"watch", u"milliseconds between two looks"},
    {u"json", nullptr, nullptr, u"query, watch, list", u"print JSON"},
    {u"recursive", nullptr, nullptr, u"query", u"also all keys below"},
    {u"registry", u"FOLDER", nullptr, nullptr, u"use the registry in this folder"},
    {u"type", u"TYPE", u"string", u"add", u"what VALUE is: string, uint32, uint64 or bytes"},
};

std::string helpText() { return Synopsis + Program::usageOf(KnownOptions) + Statuses; }

constexpr Program Self{"qxreg", helpText};

Failure usage(const String& mistake) { return Self.usage(mistake.toUtf8()); }

void readParameters(const CommandLineParser& parser, Options& options) {
    const String name = parser.getParameter(0)->getValueString(0);
    const int32_t count = parser.getParameterCount() - 1;
    const CommandRow& row = Self.commandOf(Commands, name, count);
    options.command = row.command;
    Self.requireFitting(parser, KnownOptions, name);
    if (row.command == Command::Add && count == 2) // a name alone says nothing about what to add
        throw Self.wrongCount(name);
    int32_t next = 1;
    const auto take = [&](std::optional<String>& to) {
        if (next < parser.getParameterCount())
            to = parser.getParameter(next++)->getValueString(0);
    };
    if (row.takesKey) {
        std::optional<String> key;
        take(key);
        try {
            options.key.emplace(*key);
        } catch (const qx::Exception&) {
            throw usage(u"no key: " + *key + u"; one begins with a root such as QX_HKEY_USER");
        }
    }
    if (row.takesFile)
        return take(options.file);
    take(options.name);
    take(options.value);
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    CommandLineParser parser = Program::parserOf(KnownOptions);
    Self.parse(parser, argc, argv);
    Options options;
    if (parser.getParameterCount() == 0)
        throw usage(u"no command");
    readParameters(parser, options);
    options.recursive = parser.isPresent(u"recursive");
    options.json = parser.isPresent(u"json");
    const String type = parser.getValueString(u"type", 0);
    if (const auto known = parseTypeName(type.view()))
        options.type = *known;
    else
        throw usage(u"unknown type " + type + u"; it is string, uint32, uint64 or bytes");
    options.interval = Self.numberOf(parser, u"interval", 1);
    options.count = Self.numberOf(parser, u"count", 0);
    if (parser.isPresent(u"registry"))
        options.registry = parser.getValueString(u"registry", 0);
    return options;
}
