// Uses the library as it was installed. Arguments: a folder for a registry and the files of
// installed modules, which are registered there; every class of theirs must make an object.

#include <iostream>
#include <string>

#include <qx/qx.h>

namespace {

int complain(const std::string& what) {
    std::cerr << "the library says: " << what << '\n';
    return 1;
}

int useModules(const char* registry, char** first, char** last) {
    qx::throwIfFailed(QXRegistrySetFolder(registry));
    for (char** file = first; file != last; ++file)
        qx::throwIfFailed(QXComRegisterModule(qx::String(*file).getData()));
    const qx::util::RegistryKey classes(QX_HKEY_CLASSES, u"CLSID");
    for (const qx::util::RegistryKey& key : classes.subkeys()) {
        const qx::String progId = key.getSubkey(u"ProgID").getValueString();
        qx::Reference<IQXUnknown> object;
        qx::throwIfFailed(QXComCreateObjectByProgID(progId.getData(), nullptr, &IQXUnknown::Iid,
                                                    object.putVoid()),
                          progId.getData());
    }
    if (qx::String("\xC0\xE0", 2, u"CP1251").view() != u"\u0410\u0430")
        return complain("no codec for CP1251");
    int32_t kept = 0;
    qx::throwIfFailed(QXComFreeUnusedModules(0, &kept));
    return kept == 0 ? 0 : complain("a module stays loaded");
}

} // namespace

int main(int argc, char** argv) {
    qx::String text(u"installed");
    text.toUpper().append(u" and found");
    const qx::Reference<qx::String> copy(text.clone());
    if (copy->view() != u"INSTALLED and found")
        return complain(copy->toUtf8());
    try {
        return argc > 2 ? useModules(argv[1], argv + 2, argv + argc) : 0;
    } catch (const qx::ResultException& e) {
        return complain(std::to_string(e.getResult()) + ' ' + e.getDescription().toUtf8());
    }
}
