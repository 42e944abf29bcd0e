#include "Settings.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <stdexcept>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/log/Level.h>
#include <qx/util/StringTokenizer.h>
#include <qx/util/config/CommandLineParser.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/PropertySources.h>
#include <qx/util/config/RegistryKey.h>

namespace collector {

namespace {

using qx::Reference;
using qx::String;
using qx::util::PropertySet;

const struct {
    const char16_t* name;
    const char16_t* value; ///< by default
    const char16_t* description;
} KnownSettings[] = {
    {u"addresses", u"localhost", u"where to listen, separated by commas; 0.0.0.0 and :: are all"},
    {u"port", u"7017", u"on each of them; 0 for a free one"},
    {u"folder", u".", u"where the logs are written"},
    {u"level", u"debug", u"lowest level in service.log: debug, info, warning or error"},
    {u"size", u"0", u"bytes that service.log may have before a new one begins; 0 for any number"},
    {u"connections", u"50", u"at most at a time"},
    {u"line", u"4096", u"longest line in bytes"},
    {u"idle", u"60000", u"milliseconds that a client may take for a line"},
    {u"certificate", u"", u"PEM file with that of the service, for TLS"},
    {u"key", u"", u"PEM file with its private key, when that is not in the same file"},
    {u"trust", u"", u"PEM file with the roots of the certificates that clients then need"},
    {u"locale", u"", u"language of the service's messages, as in de or fr_CA"},
};

bool isKnown(const String& name) {
    return std::ranges::any_of(KnownSettings,
                               [&](const auto& known) { return name == known.name; });
}

/// A set that holds a misspelt name would be without effect, and nobody would know.
void requireKnown(const PropertySet& properties, const String& place) {
    const auto names = properties.getKeys();
    for (const auto& name : *names) {
        if (!isKnown(*name))
            throw UsageFailure(place + u" has an unknown setting " + *name);
    }
}

Reference<PropertySet> defaults() {
    auto properties = qx::makeReference<PropertySet>();
    for (const auto& known : KnownSettings)
        properties->set(known.name, known.value);
    return properties;
}

Reference<PropertySet> withIniFile(const String& path, const PropertySet* below) {
    try {
        qx::util::IniFile ini(path.getData(), nullptr, 1);
        // What stands behind such a line would be without effect, too.
        if (const auto report = ini.view().report(); report.line != 0)
            throw UsageFailure(path + u": line " + String::valueOf(report.line) + u" is " +
                               report.reason);
        auto properties = qx::util::propertiesOf(ini, u"Service", below);
        requireKnown(*properties, path);
        return properties;
    } catch (const qx::Exception& failure) {
        throw UsageFailure(path + u": " + qx::describe(failure));
    }
}

Reference<PropertySet> withRegistry(Reference<PropertySet> below) {
    const qx::util::RegistryKey key(QX_HKEY_USER, u"Examples/Service");
    try {
        auto properties = qx::util::propertiesOf(key, below);
        requireKnown(*properties, key.getKey());
        return properties;
    } catch (const qx::ResultException& failure) {
        if (failure.getResult() == qx::result::NotFound)
            return below;
        throw UsageFailure(key.getKey() + u": " + qx::describe(failure));
    }
}

Reference<PropertySet> withOptions(const qx::util::CommandLineParser& options,
                                   const PropertySet* below) {
    auto properties = qx::makeReference<PropertySet>(below);
    for (const auto& known : KnownSettings) {
        if (!options.isPresent(known.name))
            continue;
        properties->set(known.name, options.getValueString(known.name, 0));
    }
    return properties;
}

int32_t level(const PropertySet& properties) {
    using qx::log::Level;
    const auto found = Level::find(properties.get(u"level"));
    if (!found || *found < Level::Debug || *found > Level::Error)
        throw UsageFailure(u"level is debug, info, warning or error");
    return *found;
}

int32_t number(const PropertySet& properties, const char16_t* name, int32_t lowest,
               int32_t highest) {
    const std::optional<int32_t> value = properties.get(name).toInt();
    if (!value || *value < lowest || *value > highest)
        throw UsageFailure(String(name) + u" is a number from " + String::valueOf(lowest) +
                           u" to " + String::valueOf(highest));
    return *value;
}

std::vector<std::string> addresses(const PropertySet& properties) {
    std::vector<std::string> found;
    qx::util::StringTokenizer tokens(properties.get(u"addresses"), u", ");
    while (tokens.hasMoreTokens())
        found.push_back(tokens.nextToken().toUtf8());
    if (found.empty())
        throw UsageFailure(u"addresses is a list of hosts separated by commas");
    return found;
}

} // namespace

std::optional<Settings> readSettings(int argc, const char* const* argv) {
    qx::util::CommandLineParser options;
    for (const auto& known : KnownSettings)
        options.defineOption(known.name, 1, known.value, known.description);
    options.defineOption(u"settings", 1, nullptr, u"INI file with a set \"Service\"");
    options.defineOption(u"help", 0, nullptr, u"show this text");
    options.parseArguments(argc, argv);
    if (options.isPresent(u"help")) {
        std::cout << "usage: Service [OPTION...]\n\n"
                  << options.usage()
                  << "\nWhat is not given here is looked up in the registry, under\n"
                     "QX_HKEY_USER/Examples/Service, and in the INI file.\n"
                  << std::flush;
        if (!std::cout)
            throw std::runtime_error("the help cannot be written");
        return std::nullopt;
    }
    if (const String mistake = options.findMistake(); !mistake.isEmpty())
        throw UsageFailure(mistake);
    if (options.getParameterCount() > 0)
        throw UsageFailure(u"unexpected argument " + options.getParameter(0)->getValueString(0));

    Reference<PropertySet> found = defaults();
    if (options.isPresent(u"settings"))
        found = withIniFile(options.getValueString(u"settings", 0), found);
    found = withOptions(options, withRegistry(found));
    return Settings{
        .addresses = addresses(*found),
        .port = static_cast<uint16_t>(number(*found, u"port", 0, 0xFFFF)),
        .folder = found->get(u"folder"),
        .level = level(*found),
        .largest = number(*found, u"size", 0, INT32_MAX),
        .mostConnections = number(*found, u"connections", 1, 10'000),
        .longestLine = static_cast<size_t>(number(*found, u"line", 64, 1'000'000)),
        .idle = std::chrono::milliseconds(number(*found, u"idle", 10, 86'400'000)),
        .certificate = found->get(u"certificate"),
        .key = found->get(u"key"),
        .trust = found->get(u"trust"),
        .locale = found->get(u"locale"),
    };
}

} // namespace collector
