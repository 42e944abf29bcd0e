// qxbundle: checks, compiles and registers the messages of programs.

#include <optional>
#include <string>

#include <qx/core/Exception.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/StringBundle.h>
#include <qx/platform/result.h>
#include <qx/util/SystemName.h>

#include "Check.h"
#include "MessageSet.h"
#include "Options.h"
#include "Registration.h"
#include "Source.h"
#include "tools/common/Program.h"
#include "tools/common/Registry.h"

using qx::String;
using qx::i18n::Locale;
using qx::i18n::StringBundle;
using Command = Options::Command;

namespace {

void check(const Options& options) {
    const std::string faults = findFaults(readMessages(options.parameters));
    print(faults);
    if (!faults.empty())
        throw Failure(Failure::Runtime, "");
}

std::vector<NamedMessages> readFaultless(const Options& options) {
    auto set = readMessages(options.parameters);
    requireFaultless(set);
    return set;
}

void compile(const Options& options) {
    printTo(options.output, moduleSource(readFaultless(options)));
}

Failure noBundle(const String& baseName) {
    return Failure(Failure::Runtime,
                   "no bundle " + baseName.toUtf8() + " (qxbundle list shows which there are)");
}

void list(const Options& options) {
    std::optional<String> baseName;
    if (!options.parameters.empty())
        baseName = options.parameters.front();
    std::string text;
    for (const RegisteredBundle& bundle : registeredBundles(baseName)) {
        const String& place = bundle.file.isEmpty() ? bundle.module : bundle.file;
        text += (bundle.name.baseName + u" " + bundle.name.localeName + u" " + place).toUtf8();
        text += '\n';
    }
    if (baseName && text.empty())
        throw noBundle(*baseName);
    print(text);
}

void get(const Options& options) {
    const String& baseName = options.parameters[0];
    const String& key = options.parameters[1];
    std::optional<Locale> locale;
    if (options.locale)
        locale.emplace(options.locale->getData());
    qx::Reference<StringBundle> bundle;
    try {
        bundle = StringBundle::getBundle(baseName, locale ? &*locale : nullptr);
    } catch (const qx::Exception&) {
        throw noBundle(baseName);
    }
    try {
        print(bundle->getString(key).toUtf8() + '\n');
    } catch (const qx::ResultException&) {
        throw;
    } catch (const qx::Exception&) {
        throw Failure(Failure::Runtime, "no text for " + key.toUtf8() + " in " + baseName.toUtf8() +
                                            ", " + bundle->getLocale()->toString().toUtf8());
    }
}

void run(const Options& options) {
    if (options.registry)
        useRegistry(*options.registry);
    switch (options.command) {
    case Command::Check:
        return check(options);
    case Command::Compile:
        return compile(options);
    case Command::Install:
        return install(readFaultless(options), options.module);
    case Command::Uninstall:
        return uninstall(options.parameters.front());
    case Command::List:
        return list(options);
    case Command::Get:
        return get(options);
    }
}

/// What files have and names is told by them; what is left is the registry.
void parseAndRun(int argc, const char* const* argv) {
    try {
        run(parseOptions(argc, argv));
    } catch (const qx::ResultException& e) {
        if (e.getResult() == qx::result::UnmappableCharacter)
            throw;
        throw registryFailure("registry", e.getResult());
    }
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("qxbundle", [&] { parseAndRun(argc, argv); });
}
