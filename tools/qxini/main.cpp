// qxini: shows and changes INI files.

#include <string>
#include <vector>

#include <qx/platform/result.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/IniFileIterator.h>

#include "Listing.h"
#include "Options.h"
#include "tools/common/Program.h"

using qx::String;
using qx::util::IniFile;
using qx::util::IniFileException;
using qx::util::IniFileReport;
using qx::util::IniFileSetIterator;
using qx::util::IniFileView;

namespace result = qx::result;

namespace {

/// @param mustExist  a file that is not there is a failure
IniFile open(const Options& options, bool mustExist) {
    const std::string semaphore = options.semaphore ? options.semaphore->toUtf8() : std::string();
    try {
        return IniFile(options.file, IniFile::Lines::Kept,
                       options.semaphore ? semaphore.c_str() : nullptr, mustExist);
    } catch (const IniFileException&) {
        throw Failure(Failure::Runtime,
                      options.file.toUtf8() + ": no such file, or it cannot be read");
    }
}

/// Whether there is the set, or a subset of it.
bool exists(IniFile& ini, const String& set) {
    return ini.view().hasSet(set) || IniFileSetIterator(ini, set.getData()).hasNext();
}

/// What was asked for is not there; a line that was not understood may be why.
Failure missing(IniFile& ini, const Options& options) {
    std::string message = options.file.toUtf8() + ": no set " + options.set->toUtf8();
    if (options.key)
        message += " with a key " + options.key->toUtf8();
    const IniFileReport report = ini.view().report();
    if (!report.isComplete())
        message += (report.line == 0 ? "; " : "; line " + std::to_string(report.line) + " is ") +
                   report.reason.toUtf8();
    return Failure(Failure::Runtime, message);
}

void get(IniFile& ini, const Options& options) {
    const IniFileView view = ini.view();
    const auto value = view.find(*options.set, *options.key);
    if (!value)
        throw missing(ini, options);
    print(String(*value).toUtf8() + '\n');
}

void list(IniFile& ini, const Options& options) {
    const IniFileView view = ini.view();
    if (!options.set)
        return print(options.json ? fileJson(view) : fileText(view));
    if (!exists(ini, *options.set))
        throw missing(ini, options);
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
        return ini.AddKey(set, options.key->getData(), options.value->getData(), !options.keep);
    case Options::Command::Delete:
        return ini.DeleteKey(set, options.key->getData());
    default:
        return exists(ini, *options.set) ? ini.DeleteSet(set) : result::NotFound;
    }
}

void changeAndReport(IniFile& ini, const Options& options) {
    const int32_t changed = change(ini, options);
    if (changed == result::NotFound)
        throw missing(ini, options);
    if (changed == result::AlreadyExists)
        throw Failure(Failure::Runtime,
                      options.file.toUtf8() +
                          ": the key is there already (without --keep it is replaced)");
    if (changed == result::InvalidArgument)
        throw Failure(Failure::Runtime,
                      options.file.toUtf8() +
                          ": a text may not hold a line feed, and a key neither hold \"=\" nor "
                          "begin with \"[\", \"#\", \":\" or \";\" nor begin or end with a blank");
    if (changed == result::Fail)
        throw Failure(Failure::Runtime, options.file.toUtf8() +
                                            ": nothing was changed: " + ini.getRefusal().toUtf8());
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
