#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/util/CommandLineParser.h>
#include <qx/util/IniFile.h>
#include <qx/util/PropertySet.h>
#include <qx/util/PropertySources.h>

/// What the service can be told. An option of the command line goes before the value of that name
/// in the set "Service" of the INI file, which goes before the default.
struct Settings {
    qx::String folder;
    int32_t threads;
    int32_t threshold;
    int32_t requestMilliseconds;
    qx::String locale; ///< of what is logged; empty: that of the user
};

/// What is wrong with a setting.
class UsageFailure : public std::runtime_error {
public:
    explicit UsageFailure(const qx::String& message) : std::runtime_error(message.toUtf8()) {}
};

/// Finds the values of settings by their names.
class SettingSource {
public:
    /// @throws qx::util::IniFileException when there is no such file or no set "Service" in it
    explicit SettingSource(const qx::util::CommandLineParser& options) : m_options(options) {
        if (!options.isPresent(u"settings"))
            return;
        constexpr int16_t MustExist = 1;
        qx::util::IniFile ini(options.getValueString(u"settings", 0).getData(), nullptr, MustExist);
        m_properties = qx::util::propertiesOf(ini, u"Service");
    }

    qx::String text(const char16_t* name) const {
        const bool isInFile =
            !m_options.isPresent(name) && m_properties && m_properties->hasProperty(name);
        return isInFile ? m_properties->get(name) : m_options.getValueString(name, 0);
    }

    /// Empty where nobody has set it.
    qx::String optionalText(const char16_t* name) const {
        const bool isSet =
            m_options.isPresent(name) || (m_properties && m_properties->hasProperty(name));
        return isSet ? text(name) : qx::String();
    }

    int32_t number(const char16_t* name, int32_t lowest, int32_t highest) const {
        const std::string digits = text(name).toUtf8();
        char* end = nullptr;
        const long value = std::strtol(digits.c_str(), &end, 10);
        if (digits.empty() || *end != 0 || value < lowest || value > highest)
            throw UsageFailure(qx::String(name) + u" is a number from " +
                               qx::String::valueOf(lowest) + u" to " +
                               qx::String::valueOf(highest));
        return static_cast<int32_t>(value);
    }

private:
    const qx::util::CommandLineParser& m_options;
    qx::Reference<qx::util::PropertySet> m_properties;
};

/// Nothing when help was asked for and given.
inline std::optional<Settings> readSettings(int argc, const char* const* argv) {
    qx::util::CommandLineParser options;
    options.defineOption(u"settings", 1, nullptr, u"INI file with a set \"Service\"");
    options.defineOption(u"folder", 1, u".", u"where the logs are written");
    options.defineOption(u"threads", 1, u"3", u"threads that handle requests");
    options.defineOption(u"level", 1, u"2", u"lowest level that is logged: 1 debug to 3 warning");
    options.defineOption(u"wait", 1, u"2", u"milliseconds that a request takes");
    options.defineOption(u"locale", 1, nullptr, u"language of the logs, as in de or fr_CA");
    options.defineOption(u"help", 0, nullptr, u"show this text");
    options.parseArguments(argc, argv);
    if (options.isPresent(u"help")) {
        std::cout << "usage: Service [OPTION...]\n\n" << options.usage();
        return std::nullopt;
    }
    if (const qx::String mistake = options.findMistake(); !mistake.isEmpty())
        throw UsageFailure(mistake);
    if (options.getParameterCount() > 1)
        throw UsageFailure(u"unexpected argument " + options.getParameter(1)->getValueString(0));
    const SettingSource source(options);
    return Settings{source.text(u"folder"), source.number(u"threads", 1, 64),
                    source.number(u"level", 1, 3), source.number(u"wait", 0, 60'000),
                    source.optionalText(u"locale")};
}
