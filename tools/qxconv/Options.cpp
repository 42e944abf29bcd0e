#include "Options.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "tools/common/Program.h"

namespace {

constexpr char HelpText[] =
    R"(usage: qxconv [-f FROM] [-t TO] [-o OUT | -d FOLDER | --in-place[=SUFFIX]]
              [--errors HOW | --strict | --substitute TEXT] [--line-ends END] [FILE...]
       qxconv -l

Converts text files, one behind the other, from the encoding FROM to the encoding TO.
Without files, or for the file "-", standard input is read.

  -f FROM            encoding of the input (default: that of the locale); auto: what its
                     byte order mark says, else that of the locale
  -t TO              encoding of the output (default: that of the locale)
  -o OUT             write the file OUT, which appears or changes only when everything
                     was converted (default: standard output)
  -d FOLDER          write a file for each into FOLDER, under its own name
  --in-place         write each file anew; with =SUFFIX keep the old one under its name
                     and SUFFIX
  --errors HOW       what to do with text that cannot be converted: strict stops with
                     exit status 1, as --strict does; replace, ignore (iconv -c) and
                     escape (\\xFF for a byte, \\u4E2D for a character) go on, and the
                     exit status stays 0
  -c                 as --errors ignore
  --line-ends END    make all ends of lines lf, crlf or cr
  --strict           stop at the first invalid byte sequence and at the first character
                     that TO does not have, and tell its byte offset
  --substitute TEXT  write TEXT in the place of such a sequence or character (default:
                     the replacement character, or "?" where TO does not have it, and
                     the exit status 1)
  -l                 list the encodings with code page and other names
  -h, --help         show this text
  --version          show the version

A byte order mark is text like any other; -f UTF-16LE and the like read and write none.
UTF-16, UTF-32 and UTF-8-SIG follow the mark of each file, and write one.
Exit status: 0 done, 1 the input is bad, TO does not have all of it, or a file cannot be
read or written, 2 usage.
)";

using Value = std::optional<std::string> Options::*;

struct ValueOption {
    std::string_view name;
    Value value;
};

constexpr ValueOption ValueOptions[] = {
    {"-f", &Options::from},
    {"-t", &Options::to},
    {"-o", &Options::output},
    {"-d", &Options::folder},
    {"--errors", &Options::errors},
    {"--line-ends", &Options::lineEnds},
    {"--substitute", &Options::substitute},
};

constexpr std::string_view InPlaceWith = "--in-place=";

constexpr Program Self{"qxconv", [] { return std::string(HelpText); }};

/// The arguments from front to back.
class Arguments {
public:
    Arguments(int argc, char** argv) : m_arguments(argv + (argc > 0 ? 1 : 0), argv + argc) {}

    bool atEnd() const { return m_next == m_arguments.size(); }
    const std::string& take() { return m_arguments[m_next++]; }

private:
    std::vector<std::string> m_arguments;
    std::size_t m_next = 0;
};

/// Reads "-f X", "-fX", "--substitute X" and "--substitute=X"; false for another argument.
bool readValue(const std::string& argument, Arguments& arguments, Options& options) {
    for (const ValueOption& option : ValueOptions) {
        if (!argument.starts_with(option.name))
            continue;
        const bool isLong = option.name.starts_with("--");
        std::string value = argument.substr(option.name.size());
        if (value.empty()) {
            if (arguments.atEnd())
                throw Self.usage("option " + argument + " needs a value");
            value = arguments.take();
        } else if (isLong) {
            if (!value.starts_with('='))
                continue;
            value.erase(0, 1);
        }
        if (options.*option.value)
            throw Self.usage("option " + std::string(option.name) + " is given twice");
        options.*option.value = value;
        return true;
    }
    return false;
}

/// Throws unless the value is one of @p known.
void checkValue(const char* option, const std::optional<std::string>& value,
                std::initializer_list<std::string_view> known) {
    if (!value || std::ranges::find(known, *value) != known.end())
        return;
    std::string all;
    for (const std::string_view each : known)
        all.append(all.empty() ? "" : ", ").append(each);
    throw Self.usage("option " + std::string(option) + " takes one of " + all + ", not \"" +
                     *value + '"');
}

void checkTogether(const Options& options) {
    if (options.strict && options.substitute)
        throw Self.usage("--strict and --substitute exclude each other");
    if (options.errors && (options.strict || options.substitute))
        throw Self.usage("--errors excludes --strict and --substitute");
    checkValue("--errors", options.errors, {"strict", "replace", "ignore", "escape"});
    checkValue("--line-ends", options.lineEnds, {"lf", "crlf", "cr"});
    if ((options.output ? 1 : 0) + (options.folder ? 1 : 0) + (options.inPlace ? 1 : 0) > 1)
        throw Self.usage("-o, -d and --in-place exclude each other");
    const bool hasInput = std::ranges::find(options.files, "-") != options.files.end();
    if ((options.folder || options.inPlace) && (options.files.empty() || hasInput))
        throw Self.usage("-d and --in-place need files");
    if (options.listEncodings && !options.files.empty())
        throw Self.usage("-l takes no files");
}

} // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    Arguments arguments(argc, argv);
    bool optionsEnded = false;
    while (!arguments.atEnd()) {
        const std::string argument = arguments.take();
        if (optionsEnded || argument == "-" || !argument.starts_with('-'))
            options.files.push_back(argument);
        else if (argument == "--")
            optionsEnded = true;
        else if (argument == "--strict")
            options.strict = true;
        else if (argument == "-c")
            options.errors = "ignore";
        else if (argument == "--in-place" || argument.starts_with(InPlaceWith)) {
            options.inPlace = true;
            options.keep =
                argument.size() < InPlaceWith.size() ? "" : argument.substr(InPlaceWith.size());
        } else if (argument == "-l")
            options.listEncodings = true;
        else if (!readValue(argument, arguments, options)) {
            Self.answer(argument);
            throw Self.usage("unknown option " + argument);
        }
    }
    checkTogether(options);
    return options;
}
