#pragma once

#include <string>

namespace qxtest {

/// Sets the process locale to one that is made for the test, and sets it back at the end.
class TestLocale {
public:
    /// @param language  as in "de_DE"
    /// @param codeSet   as in "ISO-8859-1"
    TestLocale(const std::string& language, const std::string& codeSet);
    /// Selects a locale that the system has, such as "C".
    explicit TestLocale(const char* name);
    ~TestLocale();
    TestLocale(const TestLocale&) = delete;
    TestLocale& operator=(const TestLocale&) = delete;

    /// False where the system cannot make the locale (no `localedef`, no character maps).
    bool isSet() const { return m_isSet; }

private:
    std::string m_previous;
    bool m_isSet;
};

} // namespace qxtest
