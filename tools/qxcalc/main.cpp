// qxcalc: a calculator for integers and decimals of any size.

#include <cstdio>
#include <exception>
#include <string>

#include <qx/core/Exception.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/platform/files.h>

#include "Calculator.h"
#include "Options.h"

using qx::String;

namespace {

constexpr int StatementFailed = 1;
constexpr int BadUsage = 2;

void write(const std::string& text) {
    qx::io::FileOutputStream(QXFileStandardOutput(), false)
        .write(text.data(), static_cast<int32_t>(text.size()));
}

void printResult(const String& result) { write((result + u'\n').toUtf8()); }

void complain(const String& message) {
    std::fprintf(stderr, "qxcalc: %s\n", message.toUtf8().c_str());
}

/// "column 3: unexpected ..." behind @p place.
void complain(const String& place, const Failure& failure) {
    complain(String::format(u"{0}column {1}: {2}", place, String::valueOf(failure.column),
                            failure.message));
}

/// Stops at the first failure: what follows may depend on it.
int evaluateArguments(Calculator& calculator, const std::vector<String>& lines) {
    for (size_t i = 0; i < lines.size(); ++i) {
        try {
            calculator.evaluate(lines[i].view(), printResult);
        } catch (const Failure& failure) {
            complain(lines.size() == 1 ? String()
                                       : String::format(u"argument {0}, ", String::valueOf(i + 1)),
                     failure);
            return StatementFailed;
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
            write("> ");
        if (reader->readLine(line) < 0)
            break;
        try {
            calculator.evaluate(line.view(), printResult);
        } catch (const Failure& failure) {
            complain(prompts ? String() : String::format(u"line {0}, ", String::valueOf(number)),
                     failure);
            status = StatementFailed;
        }
    }
    if (prompts)
        write("\n");
    return status;
}

int run(const Options& options) {
    if (options.showHelp) {
        write(HelpText);
        return 0;
    }
    Calculator calculator(options.settings);
    return options.lines.empty() ? evaluateInput(calculator)
                                 : evaluateArguments(calculator, options.lines);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(parseOptions(argc, argv));
    } catch (const UsageFailure& failure) {
        complain(failure.message);
        return BadUsage;
    } catch (const qx::Exception& exception) {
        if (exception.getResult() != qx::result::BrokenPipe) // who closed it knows
            complain(exception.getDescription());
        return StatementFailed;
    } catch (const std::exception& exception) {
        complain(String::fromUtf8(exception.what()));
        return StatementFailed;
    }
}
