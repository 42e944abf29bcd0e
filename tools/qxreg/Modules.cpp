#include "Modules.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/platform/files.h>
#include <qx/platform/module.h>
#include <qx/platform/registry.h>
#include <qx/platform/result.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/RegistryKey.h>

#include "ValueText.h"
#include "tools/common/Module.h"
#include "tools/common/Registry.h"

using qx::String;
using qx::util::fromSystemName;
using qx::util::RegistryKey;
using qx::util::toSystemName;
namespace result = qx::result;

namespace {

/// One class of a module, as the registry has it.
struct RegisteredClass {
    String classId;
    String progId;
    String independentProgId;
    String description;
    String module;
};

RegistryKey classesKey(const String& path) { return RegistryKey(QX_HKEY_CLASSES_64, path); }

/// The key's default value; empty when it has none, or one that is no text.
String textOf(const RegistryKey& key) {
    try {
        return key.getValueType() == QX_REG_STRING ? key.getValueString() : String();
    } catch (const qx::ResultException& e) {
        if (e.getResult() != result::NotFound)
            throw;
        return {};
    }
}

/// A file that the system cannot be told the name of is none.
bool fileExists(const String& path) {
    QXHandle file;
    const int32_t code = qx::resultOf(
        [&] { return QXFileOpen(toSystemName(path).c_str(), QX_FILE_READ, 0, &file); });
    if (code >= 0)
        QXFileClose(file);
    return code != result::NotFound && code != result::UnmappableCharacter;
}

/// Every class that has a module, in the order of their identifiers.
std::vector<RegisteredClass> registeredClasses() {
    std::vector<RegisteredClass> classes;
    const RegistryKey parent = classesKey(u"CLSID");
    try {
        for (const RegistryKey& key : parent.subkeys()) {
            String module = textOf(key.getSubkey(u"InprocServer32"));
            if (!module.isEmpty())
                classes.push_back({key.getKeyName(), textOf(key.getSubkey(u"ProgID")),
                                   textOf(key.getSubkey(u"VersionIndependentProgID")), textOf(key),
                                   std::move(module)});
        }
    } catch (const qx::ResultException& e) {
        if (e.getResult() != result::NotFound) // nothing was ever registered
            throw;
    }
    return classes;
}

/// Deletes what the registry has about the classes of a module that is gone, in one change; whether
/// there was something.
bool forgetModule(const String& path) {
    std::vector<String> keys;
    for (const RegisteredClass& registered : registeredClasses()) {
        if (registered.module != path)
            continue;
        keys.push_back(u"CLSID\\" + registered.classId);
        // A newer module may have taken the name over.
        for (const String& name : {registered.progId, registered.independentProgId}) {
            if (!name.isEmpty() &&
                textOf(classesKey(name + u"\\CLSID")).equals(registered.classId, true))
                keys.push_back(name);
        }
    }
    std::vector<QXRegistryChange> changes;
    for (const String& key : keys)
        changes.push_back({QX_REG_DELETE_KEY, QX_REG_STRING, key.getData(), nullptr, nullptr, 0});
    requireRegistry(
        QXRegistryApply(QX_HKEY_CLASSES_64, changes.data(), static_cast<int32_t>(changes.size())),
        path.toUtf8());
    return !keys.empty();
}

String absoluteText(const String& file) {
    return fromSystemName(absolutePath(toSystemName(file)).c_str());
}

/// It is another one after each change of what is registered.
uint64_t classesVersion() {
    uint64_t version = 0;
    requireRegistry(QXRegistryGetVersion(QX_HKEY_CLASSES_64, &version), "QX_HKEY_CLASSES_64");
    return version;
}

std::string jsonOf(const RegisteredClass& registered, bool isMissing) {
    return "{\"progId\": " + quoted(registered.progId.view()) +
           ", \"class\": " + quoted(registered.classId.view()) +
           ", \"description\": " + quoted(registered.description.view()) +
           ", \"module\": " + quoted(registered.module.view()) +
           ", \"missing\": " + (isMissing ? "true" : "false") + '}';
}

std::string lineOf(const RegisteredClass& registered, bool isMissing) {
    return quoted(registered.progId.view()) + ' ' + registered.classId.toUtf8() + ' ' +
           quoted(registered.description.view()) + ' ' + quoted(registered.module.view()) +
           (isMissing ? " missing\n" : "\n");
}

} // namespace

void registerModule(const String& file) {
    const String path = absoluteText(file);
    const uint64_t before = classesVersion();
    requireModule(QXComRegisterModule(path.getData()), path.toUtf8());
    if (classesVersion() == before) // as after qxmessages.so
        throw Failure(Failure::Runtime,
                      path.toUtf8() + ": has no classes of its own to register (one for message "
                                      "files is used by qxbundle install)");
}

void unregisterModule(const String& file) {
    const String path = absoluteText(file);
    if (!fileExists(path)) {
        if (!forgetModule(path))
            throw registryFailure(path.toUtf8(), result::NotFound);
        return;
    }
    // The module takes out its classes, which may be those of another one by now.
    const auto classes = registeredClasses();
    if (std::ranges::find(classes, path, &RegisteredClass::module) == classes.end())
        throw Failure(Failure::Runtime,
                      path.toUtf8() + ": is not registered (qxreg list shows what is)");
    requireModule(QXComUnregisterModule(path.getData()), path.toUtf8());
}

std::string moduleListing(bool json) {
    std::string text;
    for (const RegisteredClass& registered : registeredClasses()) {
        const bool isMissing = !fileExists(registered.module);
        if (json)
            text += (text.empty() ? "\n  " : ",\n  ") + jsonOf(registered, isMissing);
        else
            text += lineOf(registered, isMissing);
    }
    return json ? '[' + text + "]\n" : text;
}
