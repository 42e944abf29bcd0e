#include "tools/common/Program.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include <qx/io/FileOutputStream.h>
#include <qx/platform/files.h>
#include <qx/platform/replace.h>
#include <qx/util/SystemName.h>

using qx::String;
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

bool isStandardOutput(const std::string& name) {
    std::error_code error;
    return name == "-" || std::filesystem::equivalent(name, "/dev/stdout", error);
}

void printTo(const std::optional<String>& file, std::string_view text) {
    const std::string name = file ? qx::util::toSystemName(*file) : "-";
    if (isStandardOutput(name))
        return print(text);
    requireFile(
        QXFileReplace(name.c_str(), text.data(), static_cast<int64_t>(text.size()), 0666, nullptr),
        file->toUtf8());
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
        throw usage((mistake.substring(0, 1).toLower() + mistake.substring(1)).toUtf8());
}

CommandLineParser Program::parserOf(std::span<const OptionRow> options) {
    CommandLineParser parser;
    for (const OptionRow& option : options)
        parser.defineOption(option.name, option.value ? 1 : 0, option.byDefault);
    parser.defineOption(u"help", 0);
    parser.defineOption(u"version", 0);
    return parser;
}

std::string Program::usageOf(std::span<const OptionRow> options) {
    std::vector<std::pair<String, String>> lines;
    for (const OptionRow& option : options) {
        auto& [spelled, text] = lines.emplace_back(String(u"--") + option.name, String());
        if (option.value)
            spelled.append(u" ").append(option.value);
        if (option.commands)
            text.append(option.commands).append(u": ");
        text.append(option.description);
        if (option.byDefault)
            text.append(u" (default: ").append(option.byDefault).append(u")");
    }
    lines.emplace_back(u"-h, --help", u"show this text");
    lines.emplace_back(u"--version", u"show the version");
    int32_t width = 0;
    for (const auto& [spelled, text] : lines)
        width = std::max(width, spelled.getLength());
    String usage;
    for (auto& [spelled, text] : lines) {
        spelled.resize(width, u' ');
        usage.append(u"  ").append(spelled).append(u"  ").append(text).append(u"\n");
    }
    return usage.toUtf8();
}

void Program::requireFitting(const CommandLineParser& parser, std::span<const OptionRow> options,
                             const String& command) const {
    for (const OptionRow& option : options) {
        if (!option.commands || !parser.isPresent(option.name))
            continue;
        const auto fitting = String(option.commands).replaceAll(u" ", u"").split(u',');
        if (std::ranges::find(fitting, command) == fitting.end())
            throw usage((u"--" + String(option.name) + u" does not go with " + command).toUtf8());
    }
}

int32_t Program::numberOf(const CommandLineParser& parser, const String& option,
                          int32_t least) const {
    const String text = parser.getValueString(option, 0);
    const std::optional<int32_t> number = text.toInt();
    if (!number || *number < least)
        throw usage(String::format(u"--{0} takes a number from {1} to {2}, not {3}", option, least,
                                   std::numeric_limits<int32_t>::max(), text)
                        .toUtf8());
    return *number;
}

Failure Program::usage(const std::string& mistake) const {
    return Failure(Failure::Usage, mistake + " (" + name + " --help tells more)");
}

int fail(const char* program, int status, std::string_view message) {
    if (!message.empty()) { // may have 0 bytes in it
        const std::string line = std::string(program) + ": " + std::string(message) + '\n';
        std::fwrite(line.data(), 1, line.size(), stderr);
    }
    return status;
}
