#pragma once

#include <concepts>
#include <initializer_list>
#include <iterator>
#include <vector>

#include <qx/core/AnyText.h>
#include <qx/core/ByteView.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/exec/Process.h>
#include <qx/platform/export.h>
#include <qx/sync/Duration.h>
#include <qx/util/FileName.h>

namespace qx::exec {

/// Any range of texts, as a std::vector<std::string>, that is no text itself.
template <class T>
concept TextRange = !std::constructible_from<util::FileName, const T&> && requires(const T& texts) {
    util::FileName(*std::begin(texts));
    std::end(texts);
};

/// What a child process is to be made of: a program, its arguments, its folder, its environment and
/// its streams.
///
///     const auto found = ProcessBuilder(u"grep", {u"-n", u"a \"quoted\" word"}).run(text);
///     if (found.exitCode == 0)
///         std::cout << found.output;
///
/// Arguments reach the program as they are: no shell sees them, and nothing has to be quoted. What
/// is set stays, so that one object starts any number of processes. Used by one thread at a time.
class QX_API ProcessBuilder {
public:
    /// @param program  looked up in the PATH of this process when it holds no slash, and called by
    ///     this name
    /// @throws ResultException result::InvalidArgument for a text with a 0 unit in it, here and in
    ///     what follows
    explicit ProcessBuilder(const util::FileName& program,
                            std::initializer_list<util::FileName> arguments = {});

    explicit ProcessBuilder(const util::FileName& program, const TextRange auto& arguments)
        : ProcessBuilder(program) {
        add(arguments);
    }

    /// Appends arguments.
    ProcessBuilder& add(const util::FileName& argument);
    ProcessBuilder& add(std::initializer_list<util::FileName> arguments);
    ProcessBuilder& add(const TextRange auto& arguments) {
        for (const auto& argument : arguments)
            add(util::FileName(argument));
        return *this;
    }

    /// Where the child starts; empty for the current folder, as at first.
    ProcessBuilder& setFolder(const util::FileName& folder);

    /// Sets a variable of the child's environment, or leaves one out, beside those of this process.
    /// @throws ResultException result::InvalidArgument for an empty name and one with "=" in it
    ProcessBuilder& setVariable(const AnyText& name, const AnyText& value);
    ProcessBuilder& removeVariable(const AnyText& name);
    /// The child gets none of the variables of this process, but those that are set here.
    ProcessBuilder& clearEnvironment();

    /// Instead of a pipe the child has the standard stream of this process.
    ProcessBuilder& inheritInput() { return with(QX_PROCESS_INHERIT_INPUT); }
    ProcessBuilder& inheritOutput() { return with(QX_PROCESS_INHERIT_OUTPUT); }
    ProcessBuilder& inheritError() { return with(QX_PROCESS_INHERIT_ERROR); }
    /// Error output goes where output goes. Not with inheritError, which start refuses with
    /// result::InvalidArgument.
    ProcessBuilder& mergeError() { return with(QX_PROCESS_MERGE_ERROR); }

    /// Starts the program.
    /// @throws ResultException when it cannot be executed, with a code of QXProcessCreate
    Reference<Process> start() const;
    /// Starts the program and waits for its end, as Process::finish does.
    ProcessResult run(ByteView input = {}) const { return start()->finish(input); }
    template <sync::Duration D>
    ProcessResult run(ByteView input, const D& limit) const {
        return start()->finish(input, limit);
    }

private:
    ProcessBuilder& with(unsigned int flag) {
        m_flags |= flag;
        return *this;
    }
    void change(TextView name, TextView rest);

    std::vector<String> m_arguments; // the program first
    std::vector<String> m_variables; // as QXProcessStart takes them
    String m_folder;
    unsigned int m_flags = 0;
};

} // namespace qx::exec
