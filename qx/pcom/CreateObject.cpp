#include "qx/pcom/CreateObject.h"

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/platform/guid.h>
#include <qx/platform/module.h>

namespace qx::pcom {

namespace {

[[noreturn]] void throwNotCreated(int32_t code, const String& name, std::string_view wanted) {
    if (code == result::NoInterface) {
        try {
            throwNoInterface(code, wanted);
        } catch (ResultException& failure) {
            failure.setDetail(name);
            throw;
        }
    }
    char reason[512] = "";
    if (code == result::ModuleNotFound)
        QXModuleErrorText(reason, sizeof reason);
    throw withDetail(
        ResultException(code, u"cannot create " + (name.isEmpty() ? u"\"\""_qs : name)),
        String(reason));
}

/// Lets @p create (address of the pointer) store the object in @p out, and throws when it fails or
/// has stored none. Only then @p nameOf is asked.
template <class Create, class NameOf>
void createWith(Create&& create, NameOf&& nameOf, std::string_view wanted, void** out) {
    void* object = nullptr;
    const int32_t code = create(&object);
    if (code < 0 || !object)
        throwNotCreated(code < 0 ? code : result::NullPointer, nameOf(), wanted);
    *out = object;
}

} // namespace

void createObjectOf(const AnyText& progId, const GUID& iid, std::string_view wanted, void** out) {
    createWith(
        [&](void** object) {
            return QXComCreateObjectByProgID(progId.terminated(), nullptr, &iid, object);
        },
        [&] { return progId.toString(); }, wanted, out);
}

void createObjectOf(const GUID& classId, const GUID& iid, std::string_view wanted, void** out) {
    createWith(
        [&](void** object) {
            return QXModuleComCreateObject(libraryIdentity(), &classId, nullptr, &iid, object);
        },
        [&] {
            char16_t name[39];
            QXComStringFromGUID(&classId, name, 39);
            return String(name);
        },
        wanted, out);
}

} // namespace qx::pcom
