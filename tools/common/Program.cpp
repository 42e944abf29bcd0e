#include "tools/common/Program.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include <qx/io/FileOutputStream.h>
#include <qx/platform/files.h>

using qx::util::CommandLineParser;

void print(std::string_view text) {
    constexpr size_t LargestWrite = size_t{1} << 30; // of what a length of 32 bits can say
    try {
        qx::io::FileOutputStream out(QXFileStandardOutput(), false);
        while (!text.empty()) {
            const size_t count = std::min(text.size(), LargestWrite);
            out.write(text.data(), static_cast<int32_t>(count));
            text.remove_prefix(count);
        }
    } catch (const qx::ResultException& e) {
        throw fileFailure("standard output", e.getResult());
    }
}

void Program::answer(std::string_view argument) const {
    if (argument == "-h" || argument == "--help")
        throw Answer{help()};
    if (argument == "--version")
        throw Answer{std::string(name) + " " QX_VERSION "\n"};
}

void Program::answer(const CommandLineParser& parser) const {
    if (parser.isPresent(u"h") || parser.isPresent(u"help"))
        answer("--help");
    if (parser.isPresent(u"version"))
        answer("--version");
}

void Program::parse(CommandLineParser& parser, int argc, const char* const* argv) const {
    parser.parseArguments(argc, argv);
    answer(parser);
    if (const qx::String mistake = parser.findMistake(); !mistake.isEmpty())
        throw usage(mistake.toUtf8());
}

void Program::defineQuestions(CommandLineParser& parser) {
    parser.defineOption(u"help", 0, nullptr, u"show this text");
    parser.defineOption(u"version", 0, nullptr, u"show the version");
}

std::string Program::usageOf(const CommandLineParser& parser) {
    std::string text = parser.usage().toUtf8();
    // In the blanks before the column of the descriptions, as options with values are longer.
    constexpr std::string_view Plain = "--help    ";
    text.replace(text.find(Plain), Plain.size(), "-h, --help");
    return text;
}

int32_t Program::numberOf(const CommandLineParser& parser, const qx::String& option) const {
    const qx::String text = parser.getValueString(option, 0);
    const std::optional<int32_t> number = text.toInt();
    if (!number || *number < 0)
        throw usage((u"--" + option + u" takes a number, not " + text).toUtf8());
    return *number;
}

Failure Program::usage(const std::string& mistake) const {
    return Failure(Failure::Usage, mistake + " (" + name + " --help tells more)");
}

int fail(const char* program, int status, std::string_view message) {
    if (!message.empty())
        std::fprintf(stderr, "%s: %.*s\n", program, static_cast<int>(message.size()),
                     message.data());
    return status;
}
