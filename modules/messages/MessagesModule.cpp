// Serves message files as string bundles. A file gets its class by two entries in the registry
// below "CLSID\" + class identifier of the bundle's name, which `qxbundle install` makes: the path
// of this module and, as the value "MessageFile", the absolute path of the file. The module itself
// registers nothing.
//
// A file is read for every bundle that is created, so that changes show in the next one. What it
// does not have comes from the file for the next more general locale, where one is registered.

#include <optional>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/i18n/BundleFactory.h>
#include <qx/i18n/BundleName.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/MessageFile.h>
#include <qx/pcom/ModuleExports.h>
#include <qx/platform/module.h>
#include <qx/util/Guid.h>
#include <qx/util/config/RegistryKey.h>

using namespace qx;
using i18n::BundleName;
using i18n::StringBundle;
using util::RegistryKey;

namespace {

using namespace qx::literals;

/// What the registry says about the bundle of a class.
struct Registered {
    BundleName name;
    String file;
};

/// Nothing for a class that is not one of this module.
std::optional<Registered> registeredBundle(const GUID& classId) {
    const RegistryKey key(QX_HKEY_CLASSES_64, u"CLSID\\"_qs + util::Guid(classId).toString());
    const RegistryKey progId = key.getSubkey(u"ProgID");
    if (!key.valueExists(u"MessageFile") || !progId.valueExists())
        return std::nullopt;
    auto name = BundleName::fromComponentName(progId.getValueString());
    const String file = key.getValueString(u"MessageFile");
    // What a relative path means is up to whoever runs.
    if (!name || !file.startsWith(u"/"))
        return std::nullopt;
    return Registered{*std::move(name), file};
}

std::optional<Registered> registeredBundle(const BundleName& name) {
    GUID classId;
    if (QXComClassIDFromProgID(name.componentName().getData(), &classId) < 0)
        return std::nullopt;
    return registeredBundle(classId);
}

Reference<StringBundle> readBundle(const Registered& bundle) {
    return i18n::MessageFile::read(bundle.file)
        .createBundle(makeReference<i18n::Locale>(bundle.name.localeName.getData()));
}

/// Null for a file that is missing or damaged.
Reference<StringBundle> tryReadBundle(const Registered& bundle) {
    Reference<StringBundle> made;
    if (resultOf([&] { made = readBundle(bundle); }) == result::OutOfMemory)
        throwResult(result::OutOfMemory);
    return made;
}

/// Reads a file and those for the more general locales, of which one that is missing or damaged
/// leaves the texts of the specific one as they are.
class MessageFileFactory : public i18n::BundleFactory {
public:
    explicit MessageFileFactory(Registered bundle) : m_bundle(std::move(bundle)) {}

protected:
    Reference<StringBundle> createBundle() override {
        auto made = readBundle(m_bundle);
        Reference<StringBundle> child = made;
        for (auto name = m_bundle.name.generalized(); name; name = name->generalized()) {
            const auto general = registeredBundle(*name);
            const auto parent = general ? tryReadBundle(*general) : nullptr;
            if (!parent)
                continue;
            child->setParent(parent);
            child = parent;
        }
        return made;
    }

private:
    const Registered m_bundle;
};

class MessagesModule : public pcom::DllModule {
public:
    using DllModule::DllModule;

    int32_t GetClassObject(const GUID& clsid, const GUID& iid, void** out) override {
        if (!out)
            return result::NullPointer;
        *out = nullptr;
        auto bundle = registeredBundle(clsid);
        if (!bundle)
            return result::ClassNotAvailable;
        return pcom::handOutNew(this, new MessageFileFactory(*std::move(bundle)), iid, out);
    }
};

} // namespace

QX_DEFINE_MODULE_OF(MessagesModule, nullptr);
