#include "qx/platform/posix/module/ComponentCache.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <string>
#include <time.h>
#include <unordered_map>
#include <utility>
#include <vector>

#include <qx/platform/guid.h>
#include <qx/platform/registry.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/registry/RegistryIndex.h>

namespace qx::platform::components {

namespace {

constexpr ENUM_QX_HKEY Root = QX_HKEY_CLASSES_64;

struct ClassHash {
    size_t operator()(const QXGUID& id) const noexcept {
        // Identifiers that a maker counts up differ in the first field, random ones everywhere.
        return id.Data1 * 0x9E3779B97F4A7C15u;
    }
};
struct ClassEqual {
    bool operator()(const QXGUID& left, const QXGUID& right) const noexcept {
        return QXComCompareGUID(&left, &right) == 0;
    }
};

using Factories = std::unordered_map<QXGUID, std::shared_ptr<const Factory>, ClassHash, ClassEqual>;

/// What this process knows of registered components.
struct Cache {
    /// The state of the registry that names and factories are from.
    uint64_t version = 0;
    registry::NameMap<QXGUID> names;
    Factories factories;
    std::vector<std::shared_ptr<LoadedModule>> modules;
};

// Plain memory, so that it may be used before and after every static object.
constinit std::mutex s_lock;
constinit Cache* s_cache = nullptr;
constinit std::atomic_flag s_isFreeing;

/// At the end of the process modules stay as they are: their own ends have run before. While
/// modules are loaded this library is not unloaded, so that without them there is no end to wait
/// for.
[[gnu::destructor]] void freeCache() {
    const std::lock_guard guard(s_lock);
    if (s_cache != nullptr && s_cache->modules.empty())
        delete std::exchange(s_cache, nullptr);
}

/// The cache, held until the end of the object. What is dropped from it goes after the lock: it may
/// run code of modules.
class LockedCache {
public:
    LockedCache() : m_guard(s_lock) {
        if (s_cache == nullptr)
            s_cache = new Cache;
    }

    Cache* operator->() const noexcept { return s_cache; }

    /// The cache as of a state of the registry.
    Cache& at(uint64_t version) noexcept {
        if (s_cache->version != version) {
            s_cache->version = version;
            s_cache->names.swap(m_droppedNames);
            s_cache->factories.swap(m_dropped);
        }
        return *s_cache;
    }
    void drop(std::shared_ptr<LoadedModule>&& module) { m_droppedModule = std::move(module); }

    /// Takes the factories of a module out.
    void dropFactories(const LoadedModule& module) {
        for (auto it = s_cache->factories.begin(); it != s_cache->factories.end();) {
            const auto next = std::next(it);
            if (it->second->module().get() == &module)
                m_dropped.insert(s_cache->factories.extract(it));
            it = next;
        }
    }

private:
    std::shared_ptr<LoadedModule> m_droppedModule; // goes last
    Factories m_dropped;
    registry::NameMap<QXGUID> m_droppedNames;
    std::lock_guard<std::mutex> m_guard; // last: it is left first
};

int64_t milliseconds() noexcept {
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

/// The default value of a key, which is a text.
int32_t readText(const std::u16string& path, std::u16string& text) {
    for (int32_t length = 0;;) {
        text.resize(static_cast<size_t>(length) / sizeof(char16_t));
        ENUM_QX_REG_TYPE type;
        const int32_t result =
            QXRegistryGetValue(Root, path.c_str(), u"", &type, text.data(), &length);
        if (result == result::BufferTooSmall)
            continue;
        if (result < 0)
            return result;
        if (type != QX_REG_STRING)
            return result::NotFound;
        text.resize(std::min(text.find(u'\0'), static_cast<size_t>(length) / sizeof(char16_t)));
        return result::Ok;
    }
}

/// The identifier that the registry has for exactly this programmatic identifier.
int32_t readClassOf(const std::u16string& progId, QXGUID& classId) {
    std::u16string text;
    if (const int32_t result = readText(progId + u"\\CLSID", text); result < 0)
        return result;
    return QXComGUIDFromString(text.c_str(), &classId) < 0 ? result::Corrupt : result::Ok;
}

int32_t readClass(std::u16string_view progId, QXGUID& classId) {
    // A name is one key: with more than that it would name something else.
    if (progId.empty() || progId.find(u'\\') != progId.npos)
        return result::NotFound;
    const std::u16string name(progId);
    const int32_t result = readClassOf(name, classId);
    std::u16string current;
    if (result != result::NotFound || readText(name + u"\\CurVer", current) < 0 ||
        current.empty() || current.find(u'\\') != current.npos)
        return result;
    return readClassOf(current, classId);
}

/// The path of the module that offers a class.
int32_t readModulePath(const QXGUID& classId, std::u16string& path) {
    char16_t text[39];
    if (const int32_t result = QXComStringFromGUID(&classId, text, 39); result < 0)
        return result;
    const int32_t result = readText(std::u16string(u"CLSID\\") + text + u"\\InprocServer32", path);
    return result == result::NotFound ? result::ClassNotAvailable : result;
}

/// The module in the table, or null.
std::shared_ptr<LoadedModule> loadedModule(const std::string& path) {
    const LockedCache cache;
    const auto& modules = cache->modules;
    const auto found = std::ranges::find(modules, path, &LoadedModule::path);
    if (found == modules.end())
        return nullptr;
    (*found)->countUse();
    return *found;
}

/// The module of a resolved path, from the table or loaded into it. Several threads may load one at
/// once, which loads it once: the first one's goes into the table.
int32_t loadModule(const std::string& path, std::shared_ptr<LoadedModule>& module) {
    if (module = loadedModule(path); module != nullptr)
        return result::Ok;
    std::shared_ptr<LoadedModule> opened;
    if (const int32_t result = LoadedModule::open(path, opened); result < 0)
        return result;
    LockedCache cache;
    auto& modules = cache->modules;
    const auto found = std::ranges::find(modules, path, &LoadedModule::path);
    if (found == modules.end()) {
        modules.push_back(opened);
        module = std::move(opened);
    } else {
        module = *found;
        cache.drop(std::move(opened));
    }
    module->countUse();
    return result::Ok;
}

/// Asks the class's module for its factory, as of a state of the registry.
int32_t makeFactory(uint64_t version, const QXGUID& classId,
                    std::shared_ptr<const Factory>& factory) {
    std::u16string registered;
    std::string path;
    std::shared_ptr<LoadedModule> module;
    if (const int32_t result = readModulePath(classId, registered); result < 0)
        return result;
    if (const int32_t result = LoadedModule::resolve(registered.c_str(), path); result < 0)
        return result;
    if (const int32_t result = loadModule(path, module); result < 0)
        return result;
    const auto made = std::make_shared<Factory>(std::move(module));
    if (const int32_t result = made->obtain(classId); result < 0)
        return result;
    factory = made;
    LockedCache cache;
    // When another thread was faster, that one's factory is for all.
    if (cache->version == version)
        factory = cache->factories.try_emplace(classId, made).first->second;
    return result::Ok;
}

/// Takes the module out of the table when nothing of it is used, nor was @p delayMs ago. @p module
/// is a reference beside the table's.
bool takeIfUnused(const std::shared_ptr<LoadedModule>& module, uint32_t delayMs) {
    constexpr long OwnReferences = 2; // the table's and this one
    uint64_t useCount;
    {
        LockedCache cache;
        cache.dropFactories(*module);
        useCount = module->useCount;
    }
    // Another reference is that of a creation under way. When there is none now and none was taken
    // from the table until the end, what the module says about its objects is still so then.
    bool isUnused = module.use_count() == OwnReferences;
    // Taking and dropping one orders what others did with theirs before what follows.
    std::shared_ptr<LoadedModule>(module).reset();
    isUnused = isUnused && module->isUnused();

    const LockedCache cache;
    if (!isUnused || module->useCount != useCount) {
        module->unusedSince = 0;
        return false;
    }
    const int64_t now = milliseconds();
    if (module->unusedSince == 0)
        module->unusedSince = now;
    if (now - module->unusedSince < delayMs)
        return false;
    std::erase(cache->modules, module);
    return true;
}

/// Enters a module that could not be unloaded again, unless it was loaded once more meanwhile.
void putBack(std::shared_ptr<LoadedModule>&& module) {
    LockedCache cache;
    auto& modules = cache->modules;
    if (std::ranges::find(modules, module->path(), &LoadedModule::path) == modules.end())
        modules.push_back(std::move(module));
    else
        cache.drop(std::move(module));
}

/// Whether the module was unloaded.
bool freeIfUnused(std::shared_ptr<LoadedModule>&& module, uint32_t delayMs) {
    if (!takeIfUnused(module, delayMs))
        return false;
    if (module->tryUnload())
        return true;
    putBack(std::move(module));
    return false;
}

/// The factory in the cache, or null.
std::shared_ptr<const Factory> knownFactory(const Cache& cache, const QXGUID& classId) {
    const auto found = cache.factories.find(classId);
    if (found == cache.factories.end())
        return nullptr;
    found->second->module()->countUse();
    return found->second;
}

} // namespace

Factory::~Factory() {
    if (m_factory != nullptr)
        withinModule(
            [&] { return static_cast<int32_t>((*m_factory)->unknown.Release(m_factory)); });
}

int32_t Factory::create(void* outer, const QXGUID& interfaceId, void** object) const noexcept {
    return withinModule(
        [&] { return (*m_factory)->CreateInstance(m_factory, outer, &interfaceId, object); });
}

int32_t registryVersion(uint64_t& version) { return QXRegistryGetVersion(Root, &version); }

int32_t findClass(uint64_t version, const char16_t* progId, QXGUID& classId) {
    const std::u16string_view name(progId);
    {
        LockedCache cache;
        const auto& names = cache.at(version).names;
        if (const auto found = names.find(name); found != names.end()) {
            classId = found->second;
            return result::Ok;
        }
    }
    if (const int32_t result = readClass(name, classId); result < 0)
        return result;
    LockedCache cache;
    if (cache->version == version)
        cache->names.insert_or_assign(std::u16string(name), classId);
    return result::Ok;
}

int32_t findFactory(uint64_t version, const QXGUID& classId,
                    std::shared_ptr<const Factory>& factory) {
    {
        LockedCache cache;
        if (factory = knownFactory(cache.at(version), classId); factory != nullptr)
            return result::Ok;
    }
    return makeFactory(version, classId, factory);
}

int32_t useModule(const char16_t* path, std::shared_ptr<LoadedModule>& module) {
    std::string resolved;
    if (const int32_t result = LoadedModule::resolve(path, resolved); result < 0)
        return result;
    if (module = loadedModule(resolved); module != nullptr)
        return result::Ok;
    return LoadedModule::open(resolved, module);
}

int32_t freeUnusedModules(uint32_t delayMs, int32_t& kept) {
    if (s_isFreeing.test_and_set())
        return result::Busy;
    struct Freeing {
        ~Freeing() { s_isFreeing.clear(); }
    } freeing;
    std::vector<std::shared_ptr<LoadedModule>> modules;
    {
        const LockedCache cache;
        modules = cache->modules;
    }
    for (auto& module : modules)
        kept += freeIfUnused(std::move(module), delayMs) ? 0 : 1;
    return result::Ok;
}

} // namespace qx::platform::components

constexpr qx::platform::ForkSteps qx::platform::ComponentForkSteps{
    [](void*) noexcept { components::s_lock.lock(); },
    [](void*) noexcept { components::s_lock.unlock(); },
    [](void*) noexcept {
        components::s_isFreeing.clear(); // by a thread that is not there
        components::s_lock.unlock();
    }};
