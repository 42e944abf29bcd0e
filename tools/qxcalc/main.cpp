// qxcalc: a calculator for integers and decimals of any size.

#include <qx/io/BufferedReader.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/platform/files.h>

#include "Calculator.h"
#include "Options.h"
#include "tools/common/Program.h"

using qx::String;

namespace {

constexpr char Name[] = "qxcalc";

void printResult(const String& result) { print((result + u'\n').toUtf8()); }

/// Complains with "column 3: unexpected ..." behind @p place; the exit status.
int complain(const String& place, const StatementFailure& failure) {
    const String message = String::format(u"{0}column {1}: {2}", place,
                                          String::valueOf(failure.column), failure.message);
    return fail(Name, Failure::Runtime, message.toUtf8());
}

/// Stops at the first failure: what follows may depend on it.
int evaluateArguments(Calculator& calculator, const std::vector<String>& lines) {
    for (size_t i = 0; i < lines.size(); ++i) {
        try {
            calculator.evaluate(lines[i].view(), printResult);
        } catch (const StatementFailure& failure) {
            const String argument = String::format(u"argument {0}, ", String::valueOf(i + 1));
            return complain(lines.size() == 1 ? String() : argument, failure);
        }
    }
    return 0;
}

/// Goes on with the next line after a failure.
int evaluateInput(Calculator& calculator) {
    const bool prompts = QXFileIsTerminal(QXFileStandardInput()) == 1;
    const auto bytes = qx::makeReference<qx::io::FileInputStream>(QXFileStandardInput(), false);
    const auto text = qx::makeReference<qx::io::InputStreamReader>(bytes, u"UTF-8");
    const auto reader = qx::makeReference<qx::io::BufferedReader>(text);
    String line;
    int status = 0;
    for (int64_t number = 1;; ++number) {
        if (prompts)
            print("> ");
        if (reader->readLine(line) < 0)
            break;
        try {
            calculator.evaluate(line.view(), printResult);
        } catch (const StatementFailure& failure) {
            const String place = String::format(u"line {0}, ", String::valueOf(number));
            status = complain(prompts ? String() : place, failure);
        }
    }
    if (prompts)
        print("\n");
    return status;
}

int run(const Options& options) {
    Calculator calculator(options.settings);
    return options.lines.empty() ? evaluateInput(calculator)
                                 : evaluateArguments(calculator, options.lines);
}

} // namespace

int main(int argc, char** argv) {
    int status = 0;
    const int failed = runProgram(Name, [&] { status = run(parseOptions(argc, argv)); });
    return failed ? failed : status;
}
