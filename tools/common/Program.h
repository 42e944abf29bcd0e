#pragma once

#include <cstdint>
#include <exception>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/util/config/CommandLineParser.h>

#include "tools/common/Failure.h"

/// Writes to standard output.
/// @throws Failure
void print(std::string_view text);

/// Whether an output of that name is standard output: "-", or what standard output goes to, which
/// would lose the rest of that output if it were replaced.
bool isStandardOutput(const std::string& name);

/// Writes to a file, replacing it whole, or to standard output where no file is named.
/// @throws Failure
void printTo(const std::optional<qx::String>& file, std::string_view text);

/// Prints "<program>: <message>" as an error, nothing for an empty message; returns @p status.
int fail(const char* program, int status, std::string_view message);

/// What a program prints, instead of doing its work, when it is asked about itself.
struct Answer {
    std::string text;
};

/// An option that a command line may have.
struct OptionRow {
    const char16_t* name;
    const char16_t* value;     ///< what its value is called; null for an option without one
    const char16_t* byDefault; ///< its value where it is not given; null for none
    const char16_t* commands;  ///< that it goes with, separated by ", "; null for all
    const char16_t* description;
};

/// A program's name, and what it says about itself.
struct Program {
    const char* name;
    std::string (*help)();

    /// Returns unless the argument is one of "-h", "--help" and "--version".
    /// @throws Answer
    void answer(std::string_view argument) const;
    /// The same for what was parsed.
    void answer(const qx::util::CommandLineParser& parser) const;

    /// Parses the arguments, answers the questions among them, and looks for mistakes.
    /// @throws Answer; Failure by usage
    void parse(qx::util::CommandLineParser& parser, int argc, const char* const* argv) const;
    /// The row of @p rows, which have a name and the fewest and most parameters behind it, for the
    /// command of that name with so many of them.
    /// @throws Failure by usage
    template <class Rows>
    const auto& commandOf(const Rows& rows, const qx::String& command, int32_t count) const {
        for (const auto& row : rows) {
            if (command.view() != row.name)
                continue;
            if (count < row.fewest || count > row.most)
                throw wrongCount(command);
            return row;
        }
        throw usage((u"unknown command " + command).toUtf8());
    }
    /// What commandOf throws for too few or too many parameters.
    Failure wrongCount(const qx::String& command) const {
        return usage((u"wrong number of arguments for " + command).toUtf8());
    }

    /// A parser for these options, "--help" and "--version".
    static qx::util::CommandLineParser parserOf(std::span<const OptionRow> options);
    /// The lines of the same options.
    static std::string usageOf(std::span<const OptionRow> options);
    /// @throws Failure by usage for an option that does not go with the command
    void requireFitting(const qx::util::CommandLineParser& parser,
                        std::span<const OptionRow> options, const qx::String& command) const;

    /// The value of an option that counts something: @p least to 2^31 - 1.
    /// @throws Failure by usage for another text
    int32_t numberOf(const qx::util::CommandLineParser& parser, const qx::String& option,
                     int32_t least) const;

    /// A mistake in the arguments, with the way to the help.
    Failure usage(const std::string& mistake) const;
};

/// Runs the whole of a program: its exit status, with the message of what @p body throws.
template <class Body>
int runProgram(const char* program, Body&& body) {
    try {
        try {
            body();
        } catch (const Answer& answer) {
            print(answer.text);
        }
        return 0;
    } catch (const Failure& failure) {
        return fail(program, failure.status(), failure.what());
    } catch (const qx::Exception& e) {
        const qx::String description =
            e.getDetail().isEmpty() ? e.getDescription() : qx::describe(e);
        return fail(program, Failure::Runtime,
                    description.isEmpty() ? describeResult(e.getResult()) : description.toUtf8());
    } catch (const std::bad_alloc&) {
        return fail(program, Failure::Runtime, "out of memory");
    } catch (const std::exception& e) {
        return fail(program, Failure::Runtime, e.what());
    }
}
