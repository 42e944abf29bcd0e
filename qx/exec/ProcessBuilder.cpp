#include "qx/exec/ProcessBuilder.h"

#include <qx/core/Exception.h>

namespace qx::exec {

namespace {

/// A text that can be passed on as a C string.
String textOf(const AnyText& text) { return String(text.terminated()); }

/// The texts as the platform layer takes them.
std::vector<const char16_t*> pointersTo(const std::vector<String>& texts) {
    std::vector<const char16_t*> pointers;
    for (const String& text : texts)
        pointers.push_back(text.getData());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

ProcessBuilder::ProcessBuilder(const util::FileName& program,
                               std::initializer_list<util::FileName> arguments) {
    add(program).add(arguments);
}

ProcessBuilder& ProcessBuilder::add(const util::FileName& argument) {
    m_arguments.push_back(textOf(argument));
    return *this;
}

ProcessBuilder& ProcessBuilder::add(std::initializer_list<util::FileName> arguments) {
    for (const util::FileName& argument : arguments)
        add(argument);
    return *this;
}

ProcessBuilder& ProcessBuilder::setFolder(const util::FileName& folder) {
    m_folder = textOf(folder);
    return *this;
}

ProcessBuilder& ProcessBuilder::setVariable(const AnyText& name, const AnyText& value) {
    change(name, u'=' + textOf(value));
    return *this;
}

ProcessBuilder& ProcessBuilder::removeVariable(const AnyText& name) {
    change(name, {});
    return *this;
}

ProcessBuilder& ProcessBuilder::clearEnvironment() {
    m_variables.clear();
    return with(QX_PROCESS_NO_ENVIRONMENT);
}

Reference<Process> ProcessBuilder::start() const {
    return new Process(pointersTo(m_arguments).data(),
                       m_folder.isEmpty() ? nullptr : m_folder.getData(),
                       pointersTo(m_variables).data(), m_flags);
}

void ProcessBuilder::change(TextView name, TextView rest) {
    if (name.empty() || name.find_first_of(std::u16string_view(u"=\0", 2)) != name.npos)
        throw withDetail(ResultException(result::InvalidArgument), u"variable " + String(name));
    m_variables.push_back(String(name).append(rest));
}

} // namespace qx::exec
