#include "Registration.h"

#include <deque>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/platform/module.h>
#include <qx/platform/registry.h>
#include <qx/platform/result.h>
#include <qx/util/Guid.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/RegistryKey.h>

#include "tools/common/Failure.h"
#include "tools/common/InstalledModule.h"
#include "tools/common/Module.h"

using namespace qx::literals;
using qx::String;
using qx::i18n::BundleName;
using qx::util::fromSystemName;
using qx::util::RegistryKey;
using qx::util::toSystemName;

namespace result = qx::result;

namespace {

constexpr char16_t FileValue[] = u"MessageFile"; // the module reads it
constexpr char ModuleName[] = "qxmessages.so";

String classKey(const String& classId) { return u"CLSID\\" + classId; }

/// Changes of the registry that are made together.
class Changes {
public:
    void set(const String& path, const char16_t* name, const String& value) {
        // With the 0 unit, and where it stays.
        const String& text = m_texts.emplace_back(value.getData());
        m_changes.push_back({QX_REG_SET_VALUE, QX_REG_STRING, keep(path), name, text.getData(),
                             (text.getLength() + 1) * static_cast<int32_t>(sizeof(char16_t))});
    }
    void deleteKey(const String& path) {
        m_changes.push_back({QX_REG_DELETE_KEY, QX_REG_STRING, keep(path), u"", nullptr, 0});
    }
    void apply() const {
        qx::throwIfFailed(QXRegistryApply(QX_HKEY_CLASSES_64, m_changes.data(),
                                          static_cast<int32_t>(m_changes.size())));
    }

private:
    const char16_t* keep(const String& text) { return m_texts.emplace_back(text).getData(); }

    std::deque<String> m_texts; // whose elements stay where they are
    std::vector<QXRegistryChange> m_changes;
};

/// The default value, or another one, of a key; empty when there is none.
String valueOf(const String& path, const char16_t* name = u"") {
    try {
        return RegistryKey(QX_HKEY_CLASSES_64, path).getValueString(name);
    } catch (const qx::ResultException& e) {
        if (e.getResult() != result::NotFound)
            throw;
        return {};
    }
}

std::string findModule() {
    if (auto module = installedModule(ModuleName))
        return *module;
    throw Failure(Failure::Runtime, std::string("no ") + ModuleName +
                                        " beside this program (--module FILE names one)");
}

RegisteredBundle bundleOf(BundleName name) {
    const String classId = valueOf(name.componentName() + u"\\CLSID");
    const String key = classKey(classId);
    return {std::move(name), classId, valueOf(key, FileValue), valueOf(key + u"\\InprocServer32")};
}

/// Refuses what programs could not load, or would not, by asking for a class that no module has.
void requireLoadable(const std::string& module) {
    const QXGUID none{};
    void* object = nullptr;
    const int32_t code = QXComCreateObjectFromFile(module.c_str(), &none, &none, &object);
    if (code != result::ClassNotAvailable)
        requireModule(code, fromSystemName(module.c_str()).toUtf8());
}

void requireFree(const BundleName& name) {
    const RegisteredBundle present = bundleOf(name);
    if (!present.classId.isEmpty() && present.file.isEmpty() && !present.module.isEmpty())
        throw Failure(Failure::Runtime, name.componentName().toUtf8() + ": is in the module " +
                                            present.module.toUtf8());
}

} // namespace

void install(const std::vector<NamedMessages>& set, const std::optional<String>& module) {
    const std::string modulePath = module ? absolutePath(toSystemName(*module)) : findModule();
    requireLoadable(modulePath);
    Changes changes;
    for (const NamedMessages& each : set) {
        requireFree(each.name);
        const String name = each.name.componentName();
        const String classId = qx::util::Guid(each.name.classId()).toString();
        const String key = classKey(classId);
        const String description =
            u"Messages of " + each.name.baseName + u", " + each.name.localeName;
        changes.set(name, u"", description);
        changes.set(name + u"\\CLSID", u"", classId);
        changes.set(key, u"", description);
        changes.set(key, FileValue, fromSystemName(absolutePath(each.path).c_str()));
        changes.set(key + u"\\ProgID", u"", name);
        changes.set(key + u"\\InprocServer32", u"", fromSystemName(modulePath.c_str()));
    }
    changes.apply();
}

void uninstall(const String& baseName) {
    Changes changes;
    bool isFound = false;
    for (const RegisteredBundle& bundle : registeredBundles(baseName)) {
        if (bundle.file.isEmpty())
            continue;
        isFound = true;
        changes.deleteKey(bundle.name.componentName());
        changes.deleteKey(classKey(bundle.classId));
    }
    if (!isFound)
        throw Failure(Failure::Runtime, "no message files of " + baseName.toUtf8());
    changes.apply();
}

std::vector<RegisteredBundle> registeredBundles(const std::optional<String>& baseName) {
    std::vector<RegisteredBundle> found;
    for (const RegistryKey& key : RegistryKey(QX_HKEY_CLASSES_64, String()).subkeys()) {
        const auto name = BundleName::fromComponentName(key.getKeyName());
        if (name && (!baseName || name->baseName.equals(qx::TextView(*baseName), true)))
            found.push_back(bundleOf(*name));
    }
    return found;
}
