// qxreg: shows and changes the registry.

#include <optional>
#include <string>

#include <qx/core/Exception.h>
#include <qx/io/FileInputStream.h>
#include <qx/platform/files.h>
#include <qx/platform/result.h>
#include <qx/util/SystemName.h>

#include "Exchange.h"
#include "Modules.h"
#include "Options.h"
#include "Output.h"
#include "Snapshot.h"
#include "Watch.h"
#include "tools/common/Program.h"
#include "tools/common/Registry.h"

using qx::String;
using qx::io::FileInputStream;
using qx::util::toSystemName;
using Command = Options::Command;

namespace {

std::string readAll(const std::optional<String>& file) {
    const bool isStandard = !file || *file == u"-";
    QXHandle handle = QXFileStandardInput();
    if (!isStandard)
        requireFile(QXFileOpen(toSystemName(*file).c_str(), QX_FILE_READ, 0, &handle),
                    file->toUtf8());
    FileInputStream input(handle, !isStandard);
    std::string text;
    char block[65536];
    try {
        for (int32_t count; (count = input.read(reinterpret_cast<signed char*>(block),
                                                static_cast<int32_t>(sizeof block))) >= 0;)
            text.append(block, static_cast<size_t>(count));
    } catch (const qx::ResultException& e) {
        throw fileFailure(isStandard ? "standard input" : file->toUtf8(), e.getResult());
    }
    return text;
}

void query(const Options& options) {
    if (!options.name)
        return print(keyListing(options));
    const Value value = readValue(*options.key, *options.name);
    print(options.json ? '{' + jsonMembers(value) + "}\n" : plainText(value) + '\n');
}

void add(const Options& options) {
    const String path = options.key->getKey(true);
    QXRegistryChange change{QX_REG_CREATE_KEY, options.type, path.getData(), u"", nullptr, 0};
    std::optional<Value> value;
    if (options.value) {
        value = parsePlain(options.type, options.value->view());
        if (!value)
            throw Failure(Failure::Usage, options.value->toUtf8() + " is no value of type " +
                                              std::string(typeName(options.type)));
        change.kind = QX_REG_SET_VALUE;
        change.name = options.name->getData();
        change.data = value->data.data();
        change.length = static_cast<int32_t>(value->data.size());
    }
    requireRegistry(QXRegistryApply(options.key->getHKEY(), &change, 1), nameOf(*options.key));
}

void remove(const Options& options) {
    const String path = options.key->getKey(true);
    const ENUM_QX_HKEY root = options.key->getHKEY();
    const std::string key = nameOf(*options.key);
    if (!options.name && path.isEmpty())
        throw Failure(Failure::Runtime, key + ": is a root, which cannot be deleted");
    if (options.name)
        requireRegistry(QXRegistryDeleteValue(root, path.getData(), options.name->getData()),
                        key + " " + quoted(options.name->view()));
    else
        requireRegistry(QXRegistryDeleteKey(root, path.getData()), key);
}

void run(const Options& options) {
    if (options.registry)
        useRegistry(*options.registry);
    switch (options.command) {
    case Command::Query:
        return query(options);
    case Command::Add:
        return add(options);
    case Command::Delete:
        return remove(options);
    case Command::Export:
        return printTo(options.file, exportText(*options.key));
    case Command::Import:
        return importText(readAll(options.file));
    case Command::Watch:
        return watch(options);
    case Command::Register:
        return registerModule(*options.file);
    case Command::Unregister:
        return unregisterModule(*options.file);
    case Command::List:
        return print(moduleListing(options.json));
    }
}

/// A failure of the registry is told as one of the key.
void parseAndRun(int argc, const char* const* argv) {
    std::optional<Options> options;
    try {
        options = parseOptions(argc, argv);
        run(*options);
    } catch (const qx::ResultException& e) {
        if (e.getResult() == qx::result::UnmappableCharacter) // of a name, which it tells
            throw;
        const auto& key = options ? options->key : std::nullopt;
        throw registryFailure(key ? nameOf(*key) : "registry", e.getResult());
    }
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("qxreg", [&] { parseAndRun(argc, argv); });
}
