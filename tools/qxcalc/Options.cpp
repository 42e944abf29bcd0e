#include "Options.h"

#include <string>
#include <string_view>

#include <qx/util/SystemName.h>

#include "tools/common/Program.h"

using qx::util::fromSystemName;

namespace {

constexpr char HelpText[] =
    R"(usage: qxcalc [-s SCALE] [-i RADIX] [-o RADIX] [EXPRESSION...]

Evaluates expressions with integers and decimals of any size and prints each result on a line.
Without expressions, standard input is read line by line.

  -s SCALE    digits behind the point of quotients and roots (default: 20)
  -i RADIX    radix of the numbers that are read, 2 to 36 (default: 10)
  -o RADIX    radix of the results, 2 to 36 (default: 10)
  -h, --help  show this text
  --version   show the version

An expression has + - * / % ^ ( ) and numbers, whose digits above 9 are upper-case letters.
+ - * are exact, / rounds half away from zero, % is the remainder by a positive number, which
is never negative, ^ takes an integer and binds from right to left. The functions are:

  div(a,b)       quotient of integers, cut off
  gcd(a,b)       greatest common divisor
  modpow(a,e,m)  a to the power of e modulo m
  modinv(a,m)    inverse of a modulo m
  sqrt(x)        square root
  pi(n)          pi with n digits behind the point

The statements scale=N, ibase=N and obase=N, in decimal, change the settings. A semicolon
separates statements, # begins a comment.
Exit status: 0 done, 1 a statement has failed, 2 usage.
)";

struct ValueOption {
    std::string_view name;
    std::u16string_view setting;
};

constexpr ValueOption ValueOptions[] = {{"-s", u"scale"}, {"-i", u"ibase"}, {"-o", u"obase"}};

constexpr Program Self{"qxcalc", [] { return std::string(HelpText); }};

Failure usage(const qx::String& mistake) { return Self.usage(mistake.toUtf8()); }

/// "-5+3", "-.5", "-(1)" and "-gcd(4,6)" are expressions.
bool isExpression(std::string_view argument) {
    return argument.size() < 2 || argument[0] != '-' ||
           std::string_view("0123456789.(").find(argument[1]) != std::string_view::npos ||
           argument.find('(') != std::string_view::npos;
}

/// Reads "-s 5" and "-s5"; false for another argument. @p next moves on when it takes it.
bool readValue(const char* argument, char**& next, Settings& settings) {
    for (const ValueOption& option : ValueOptions) {
        if (!std::string_view(argument).starts_with(option.name))
            continue;
        const char* value = argument + option.name.size();
        if (*value == 0) {
            if (*next == nullptr)
                throw usage(qx::String::format(u"option {0} needs a value",
                                               qx::String::fromUtf8(option.name)));
            value = *next++;
        }
        const Setting& setting = *findSetting(option.setting);
        if (!assign(settings, setting, fromSystemName(value).view()))
            throw usage(qx::String::fromUtf8(option.name) + u": " + rangeText(setting));
        return true;
    }
    return false;
}

} // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    bool optionsEnded = false;
    for (char** next = argv + (argc > 0 ? 1 : 0); *next != nullptr;) {
        const char* const given = *next++;
        const std::string_view argument = given;
        if (optionsEnded || isExpression(argument))
            options.lines.push_back(fromSystemName(given));
        else if (argument == "--")
            optionsEnded = true;
        else if (!readValue(given, next, options.settings)) {
            Self.answer(argument);
            throw usage(u"unknown option " + fromSystemName(given));
        }
    }
    return options;
}
