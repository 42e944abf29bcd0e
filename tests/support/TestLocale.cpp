#include "tests/support/TestLocale.h"

#include <clocale>
#include <cstdlib>

#include "tests/support/TemporaryFolder.h"

namespace qxtest {

namespace {

/// Compiles the locale into a folder where setlocale looks for it; its name there.
std::string makeLocale(const std::string& language, const std::string& codeSet) {
    static const TemporaryFolder folder;
    const std::string name = language + "." + codeSet;
    const std::string command = "localedef -i " + language + " -f " + codeSet + " " +
                                folder.path(name) + " >/dev/null 2>&1";
    ::setenv("LOCPATH", folder.path().c_str(), 1);
    // Warnings make the exit status 1 although the locale is there, so setlocale has the last word.
    return std::system(command.c_str()) >= 0 ? name : "";
}

} // namespace

TestLocale::TestLocale(const std::string& language, const std::string& codeSet)
    : TestLocale(makeLocale(language, codeSet).c_str()) {}

TestLocale::TestLocale(const char* name)
    : m_previous(std::setlocale(LC_ALL, nullptr)),
      m_isSet(*name != 0 && std::setlocale(LC_ALL, name) != nullptr) {}

TestLocale::~TestLocale() { std::setlocale(LC_ALL, m_previous.c_str()); }

} // namespace qxtest
