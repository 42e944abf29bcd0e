#include "qx/pcom/Module.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <qx/core/Literal.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/core/detail/AtomicRef.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/platform/detail/ProgId.h>
#include <qx/platform/module.h>
#include <qx/platform/registry.h>
#include <qx/util/Guid.h>
#include <qx/util/SystemName.h>

namespace qx::pcom {

namespace {

const char16_t* textOf(const char16_t* (*get)()) { return get ? get() : nullptr; }

/// The programmatic identifier that a class gives, or null. An empty one would be the root itself.
const char16_t* progIdOf(const char16_t* (*get)()) {
    const char16_t* const progId = textOf(get);
    if (progId && !platform::isOneKey(progId))
        throwResultOf(result::InvalidArgument,
                      u"programmatic identifier \"" + String(progId) + u"\"");
    return progId;
}

String classKey(const ClassData& entry) {
    return u"CLSID\\"_qs + util::Guid(*entry.clsid).toString();
}

bool keyExists(const String& path) {
    QXHandle walk;
    const int32_t result = QXRegistryOpenKeyEnum(QX_HKEY_CLASSES_64, path.getData(), &walk);
    if (result == result::NotFound)
        return false;
    throwIfFailed(result);
    QXRegistryCloseEnum(walk);
    return true;
}

/// The place of an entry's factory, which is read without the lock.
qx::detail::AtomicRef<IQXClassFactory> factoryOf(ClassData& entry) noexcept {
    return qx::detail::AtomicRef(entry.factory);
}

constinit ClassData s_noClasses;

/// The innermost one of those that live in the thread.
constinit thread_local const RegistryChange* t_innermost = nullptr;

} // namespace

struct RegistryChange::Steps {
    struct Step {
        String path;
        String value;
        bool isDeletion;
    };
    std::vector<Step> all;
    bool isFound = false;
};

Module::Module(ClassData* table)
    : m_classes(table ? table : &s_noClasses), m_lock("qx::pcom::Module::m_lock") {}

Module::~Module() {
    for (ClassData* entry = m_classes; entry->clsid; ++entry) {
        if (IQXClassFactory* const factory =
                factoryOf(*entry).exchange(nullptr, std::memory_order_acq_rel))
            factory->Release();
    }
}

int32_t Module::CanUnloadNow() { return GetRefCount() == 0 ? 0 : 1; }

int32_t Module::GetClassObject(const GUID& clsid, const GUID& iid, void** out) {
    if (!out)
        return result::NullPointer;
    *out = nullptr;
    int32_t result = result::ClassNotAvailable;
    // A failure of the class's own row goes on to the next one, which may be of the same class.
    for (ClassData* entry = m_classes; entry->clsid; ++entry) {
        result = TryGetClassObject(clsid, iid, out, *entry);
        if (result >= 0)
            return result;
        *out = nullptr;
    }
    return result;
}

int32_t Module::TryGetClassObject(const GUID& clsid, const GUID& iid, void** out,
                                  ClassData& entry) {
    if (!(clsid == *entry.clsid))
        return result::ClassNotAvailable;
    IQXClassFactory* factory = factoryOf(entry).load(std::memory_order_acquire);
    if (!factory) {
        if (const int32_t result = makeFactory(entry); result < 0)
            return result;
        factory = factoryOf(entry).load(std::memory_order_acquire);
    }
    return qx::detail::passInterface(*factory, iid, out);
}

/// Makes the entry's factory unless another thread was faster.
int32_t Module::makeFactory(ClassData& entry) {
    const std::lock_guard guard(m_lock);
    if (factoryOf(entry).load(std::memory_order_relaxed))
        return result::Ok;
    if (!entry.createFactory)
        return result::NotImplemented;
    IQXClassFactory* factory = nullptr;
    const int32_t result = resultOf([&] {
        return entry.createFactory(this, entry.creatorParameter, IQXClassFactory::Iid,
                                   reinterpret_cast<void**>(&factory));
    });
    if (result < 0)
        return result;
    if (!factory)
        return result::Fail;
    factoryOf(entry).store(factory, std::memory_order_release);
    return result;
}

int32_t Module::RegisterServer(const char16_t* modulePath) {
    RegistryChange change(*this);
    for (ClassData* entry = m_classes; entry->clsid; ++entry) {
        if (const int32_t result = RegisterClassEntry(*entry, modulePath); result < 0)
            return result;
    }
    change.commit();
    return result::Ok;
}

int32_t Module::UnregisterServer() {
    RegistryChange change(*this);
    for (ClassData* entry = m_classes; entry->clsid; ++entry) {
        if (const int32_t result = UnregisterClassEntry(*entry); result < 0)
            return result;
    }
    // What is left of a module that was taken out in part goes too.
    if (m_classes->clsid && !change.isFound())
        throwResult(result::NotFound);
    change.commit();
    return result::Ok;
}

int32_t Module::RegisterServer(const void* module) {
    constexpr int32_t Capacity = 260;
    char path[Capacity];
    if (QXModuleGetFileName(module, path, Capacity) < 0)
        return result::Fail;
    String text;
    if (resultOf([&] { text = util::fromSystemName(path); }) == result::UnmappableCharacter)
        return result::Fail;
    return RegisterServer(text.getData());
}

int32_t Module::RegisterClassEntry(ClassData& entry, const char16_t* /*modulePath*/) {
    RegistryChange change(*this);
    const String clsid = util::Guid(*entry.clsid).toString();
    const char16_t* const description = textOf(entry.getDescription);
    const char16_t* const progId = progIdOf(entry.getProgID);
    const String key = classKey(entry);
    if (progId) {
        change.setDefaultValue(progId, description);
        change.setDefaultValue(String(progId) + u"\\CLSID", clsid.getData());
    }
    change.setDefaultValue(key, description);
    change.setDefaultValue(key + u"\\ProgID", progId);
    if (const char16_t* const independent = progIdOf(entry.getVersionIndependentProgID)) {
        change.setDefaultValue(independent, description);
        change.setDefaultValue(String(independent) + u"\\CLSID", clsid.getData());
        change.setDefaultValue(String(independent) + u"\\CurVer", progId);
        change.setDefaultValue(key + u"\\VersionIndependentProgID", independent);
    }
    change.commit();
    return result::Ok;
}

int32_t Module::UnregisterClassEntry(ClassData& entry) {
    RegistryChange change(*this);
    const String key = classKey(entry);
    if (keyExists(key))
        change.setFound();
    else if (!change.isPart())
        throwResult(result::NotFound);
    for (const auto get : {entry.getProgID, entry.getVersionIndependentProgID}) {
        // An empty one was never entered as a key.
        if (const char16_t* const name = textOf(get); name && *name)
            change.deleteKey(name);
    }
    change.deleteKey(key);
    change.commit();
    return result::Ok;
}

// Nothing is locked meanwhile: the texts of the classes come from anybody's code, and the registry
// may have to wait for another process.
RegistryChange::RegistryChange(Module& module) : m_module(module), m_outer(t_innermost) {
    const RegistryChange* whole = m_outer;
    while (whole && &whole->m_module != &module)
        whole = whole->m_outer;
    m_isPart = whole != nullptr;
    m_steps = m_isPart ? whole->m_steps : std::make_shared<Steps>();
    t_innermost = this;
}

RegistryChange::~RegistryChange() { t_innermost = m_outer; }

void RegistryChange::setDefaultValue(const String& path, const char16_t* value) {
    m_steps->all.push_back(
        {String(path, String::AM_COPY), value ? String(value) : String(), false});
}

void RegistryChange::deleteKey(const String& path) {
    m_steps->all.push_back({String(path, String::AM_COPY), String(), true});
}

void RegistryChange::setFound() noexcept { m_steps->isFound = true; }

bool RegistryChange::isFound() const noexcept { return m_steps->isFound; }

void RegistryChange::commit() {
    using qx::detail::checkedSize;
    if (m_isPart)
        return;
    const auto& steps = m_steps->all;
    std::vector<QXRegistryChange> changes;
    changes.reserve(steps.size());
    for (const auto& [path, value, isDeletion] : steps) {
        if (isDeletion) {
            changes.push_back(
                {QX_REG_DELETE_KEY, QX_REG_STRING, path.getData(), nullptr, nullptr, 0});
            continue;
        }
        const int64_t length = (int64_t{value.getLength()} + 1) * int64_t{sizeof(char16_t)};
        changes.push_back({QX_REG_SET_VALUE, QX_REG_STRING, path.getData(), u"", value.getData(),
                           checkedSize(length)});
    }
    throwIfFailed(
        QXRegistryApply(QX_HKEY_CLASSES_64, changes.data(), checkedSize(std::ssize(changes))));
}

} // namespace qx::pcom
