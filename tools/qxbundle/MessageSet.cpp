#include "MessageSet.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/i18n/Locale.h>
#include <qx/platform/result.h>
#include <qx/util/SystemName.h>

#include "tools/common/Failure.h"

using qx::String;
using qx::i18n::BundleName;
using qx::i18n::MessageFile;
using qx::util::fromSystemName;
using qx::util::toSystemName;

namespace fs = std::filesystem;

namespace {

constexpr std::string_view Extension = ".messages";

/// The base is what stands before the last "." in front of the extension; the locale has none.
std::optional<BundleName> bundleNameOf(const fs::path& path) {
    const String name = fromSystemName(path.stem().c_str());
    const int32_t dot = name.lastIndexOf(u'.');
    if (path.extension() != Extension || dot < 1)
        return std::nullopt;
    BundleName bundle{name.substring(0, dot), name.substring(dot + 1)};
    const qx::i18n::Locale locale(bundle.localeName.getData());
    // "\" would make another key of the registry.
    if (locale.getLanguage().isEmpty() || locale.toString() != bundle.localeName ||
        name.contains(u'\\'))
        return std::nullopt;
    return bundle;
}

NamedMessages readOne(const fs::path& path) {
    const String file = fromSystemName(path.c_str());
    const std::string shown = file.toUtf8();
    std::error_code ignored;
    if (!fs::exists(path, ignored))
        throw fileFailure(shown, qx::result::NotFound);
    const auto name = bundleNameOf(path);
    if (!name)
        throw Failure(Failure::Runtime, shown + ": not called BASE.LOCALE.messages");
    try {
        return {path.string(), *name, MessageFile::read(file)};
    } catch (const qx::ResultException& e) {
        throw fileFailure(shown, e.getResult());
    }
}

std::vector<fs::path> filesIn(const fs::path& folder) {
    std::vector<fs::path> found;
    std::error_code error;
    fs::directory_iterator walk, end;
    do {
        walk = fs::directory_iterator(folder, error);
    } while (error == std::errc::interrupted);
    for (; !error && walk != end; walk.increment(error)) {
        if (walk->path().extension() == Extension)
            found.push_back(walk->path());
    }
    const std::string shown = fromSystemName(folder.c_str()).toUtf8();
    if (error)
        throw Failure(Failure::Runtime, shown + ": " + error.message());
    if (found.empty())
        throw Failure(Failure::Runtime, shown + ": no message files in it");
    return found;
}

/// Components are found without regard to letter case.
std::pair<String, String> orderOf(const NamedMessages& each) {
    return {String(each.name.baseName).toLower(), String(each.name.localeName).toLower()};
}

} // namespace

std::vector<NamedMessages> readMessages(const std::vector<String>& files) {
    std::vector<fs::path> paths;
    for (const String& file : files) {
        const fs::path path = toSystemName(file);
        std::error_code ignored; // reading tells what is wrong
        if (fs::is_directory(path, ignored))
            std::ranges::move(filesIn(path), std::back_inserter(paths));
        else
            paths.push_back(path);
    }
    std::ranges::sort(paths);
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    std::vector<NamedMessages> set;
    for (const fs::path& path : paths)
        set.push_back(readOne(path));
    // The name of a more general locale is the start of the specific one.
    std::ranges::stable_sort(set, {}, &orderOf);
    const auto twice = std::ranges::adjacent_find(set, {}, &orderOf);
    if (twice != set.end())
        throw Failure(Failure::Runtime,
                      fromSystemName(twice->path.c_str()).toUtf8() + " and " +
                          fromSystemName(std::next(twice)->path.c_str()).toUtf8() +
                          ": two files of one bundle");
    return set;
}

const NamedMessages* generalOf(const std::vector<NamedMessages>& set, const NamedMessages& each) {
    for (auto name = each.name.generalized(); name; name = name->generalized()) {
        const String wanted = name->componentName();
        for (const NamedMessages& other : set) {
            if (other.name.componentName().equals(qx::TextView(wanted), true))
                return &other;
        }
    }
    return nullptr;
}

void requireFaultless(const std::vector<NamedMessages>& set) {
    for (const NamedMessages& each : set) {
        if (each.file.mistakes().empty())
            continue;
        const auto& [line, reason] = each.file.mistakes().front();
        throw Failure(Failure::Runtime, placeOf(each, line) + ": " + reason.toUtf8());
    }
}

std::string placeOf(const NamedMessages& in, int32_t line) {
    return fromSystemName(in.path.c_str()).toUtf8() + ':' + std::to_string(line);
}
