// qxini: shows and changes INI files.

#include <string_view>

#include <qx/platform/result.h>
#include <qx/platform/text.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/IniFileIterator.h>

#include "Listing.h"
#include "Options.h"
#include "tools/common/Program.h"

using qx::String;
using qx::util::IniFile;
using qx::util::IniFileException;
using qx::util::IniFileSetIterator;
using qx::util::IniFileView;

namespace result = qx::result;

namespace {

/// @param mustExist  a file that is not there is a failure
IniFile open(const Options& options, bool mustExist) {
    const std::string semaphore = options.semaphore ? options.semaphore->toUtf8() : std::string();
    try {
        return IniFile(options.file.getData(), options.semaphore ? semaphore.c_str() : nullptr,
                       mustExist);
    } catch (const IniFileException&) {
        throw Failure(Failure::Runtime,
                      options.file.toUtf8() + ": no such file, or it cannot be read");
    }
}

Failure missing(const Options& options) {
    const std::string set = options.file.toUtf8() + ": no set " + options.set->toUtf8();
    return Failure(Failure::Runtime,
                   options.key ? set + " with a key " + options.key->toUtf8() : set);
}

/// A file holds names of sets of at most 259 bytes, keys and values of 254.
constexpr int32_t SetRoom = 260, KeyRoom = 255;

bool fits(std::u16string_view text, int32_t room) {
    char buffer[SetRoom];
    return text.empty() ||
           QXUnicodeToAnsi(text.data(), static_cast<int32_t>(text.size()), buffer, room) >= 0;
}

void requireFitting(std::u16string_view set, std::u16string_view key, std::u16string_view value) {
    if (!fits(set, SetRoom) || !fits(key, KeyRoom) || !fits(value, KeyRoom))
        throw Failure(Failure::Runtime,
                      "too long, or not in the encoding of the locale, to be written: " +
                          String(set).toUtf8() + ": " + String(key).toUtf8());
}

/// Rewriting would cut what is too long, so it is refused before anything is changed.
void requireFitting(const IniFileView& view) {
    // Lines that hold bytes which are no text are written as they were.
    const auto isText = [](std::u16string_view text) {
        return text.find(u'\xFFFD') == text.npos ? text : std::u16string_view();
    };
    for (const auto set : view.sets()) {
        requireFitting(isText(set), {}, {});
        for (const auto key : view.keys(set))
            requireFitting(isText(set), isText(key), isText(*view.find(set, key)));
    }
}

void get(IniFile& ini, const Options& options) {
    const IniFileView view = ini.view();
    const auto value = view.find(*options.set, *options.key);
    if (!value)
        throw missing(options);
    print(String(*value).toUtf8() + '\n');
}

void list(IniFile& ini, const Options& options) {
    const IniFileView view = ini.view();
    if (!options.set)
        return print(options.json ? fileJson(view) : fileText(view));
    if (!view.hasSet(*options.set))
        throw missing(options);
    print(options.json ? setJson(view, *options.set) : setText(view, *options.set));
}

void listSets(IniFile& ini, const Options& options) {
    std::vector<String> names;
    IniFileSetIterator sets(ini, options.set ? options.set->getData() : u"");
    while (sets.hasNext())
        names.push_back(sets.next());
    print(options.json ? namesJson(names) : namesText(names));
}

int32_t change(IniFile& ini, const Options& options) {
    const char16_t* const set = options.set->getData();
    switch (options.command) {
    case Options::Command::Set:
        requireFitting(options.set->view(), options.key->view(), options.value->view());
        return ini.AddKey(set, options.key->getData(), options.value->getData(), !options.keep);
    case Options::Command::Delete:
        return ini.DeleteKey(set, options.key->getData());
    default:
        return ini.view().hasSet(*options.set) || IniFileSetIterator(ini, set).hasNext()
                   ? ini.DeleteSet(set)
                   : result::NotFound;
    }
}

void changeAndReport(IniFile& ini, const Options& options) {
    requireFitting(ini.view());
    const int32_t changed = change(ini, options);
    if (changed == result::NotFound)
        throw missing(options);
    if (changed == result::AlreadyExists)
        throw Failure(Failure::Runtime,
                      options.file.toUtf8() +
                          ": the key is there already (without --keep it is replaced)");
    if (changed == result::InvalidArgument)
        throw Failure(Failure::Runtime,
                      "a line feed, or a key with \"=\" or a start that no key has");
    for (const int32_t failure : {changed, ini.getWriteResult()})
        if (failure < 0)
            throw fileFailure(options.file.toUtf8(), failure);
}

void run(const Options& options) {
    IniFile ini = open(options, options.command != Options::Command::Set);
    switch (options.command) {
    case Options::Command::Get:
        return get(ini, options);
    case Options::Command::List:
        return list(ini, options);
    case Options::Command::Sets:
        return listSets(ini, options);
    default:
        return changeAndReport(ini, options);
    }
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("qxini", [&] { run(parseOptions(argc, argv)); });
}
