#include "qx/platform/posix/module/ComponentCache.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <qx/platform/detail/ProgId.h>
#include <qx/platform/guid.h>
#include <qx/platform/registry.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/registry/RegistryIndex.h>
#include <qx/platform/posix/sync/futex.h>

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

// Plain memory, so that it may be used before and after every static object. s_lock guards the
// cache and the counts of its modules, and is never held while code of a module runs: that may
// create components itself, or wait for a thread that does.
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

/// The text that is the default value of a key; nothing when there is none.
std::optional<std::u16string> readText(const std::u16string& path) {
    std::u16string text;
    for (int32_t length = 0;;) {
        text.resize((static_cast<size_t>(length) + 1) / sizeof(char16_t));
        ENUM_QX_REG_TYPE type;
        const int32_t result =
            QXRegistryGetValue(Root, path.c_str(), u"", &type, text.data(), &length);
        if (result == result::BufferTooSmall)
            continue;
        if (result == result::NotFound)
            return std::nullopt;
        throwIfFailed(result);
        if (type != QX_REG_STRING)
            return std::nullopt;
        text.resize(std::min(text.find(u'\0'), static_cast<size_t>(length) / sizeof(char16_t)));
        return text;
    }
}

/// The identifier that the registry has for exactly this programmatic identifier.
std::optional<QXGUID> readClassOf(const std::u16string& progId) {
    const auto text = readText(progId + u"\\CLSID");
    QXGUID classId;
    if (!text)
        return std::nullopt;
    if (QXComGUIDFromString(text->c_str(), &classId) < 0)
        throw Failure{result::Corrupt};
    return classId;
}

std::optional<QXGUID> readClass(std::u16string_view progId) {
    if (!isOneKey(progId))
        return std::nullopt;
    const std::u16string name(progId);
    if (const auto classId = readClassOf(name))
        return classId;
    const auto current = readText(name + u"\\CurVer");
    return current && isOneKey(*current) ? readClassOf(*current) : std::nullopt;
}

/// The path of the module that offers a class.
std::optional<std::u16string> readModulePath(const QXGUID& classId) {
    char16_t text[39];
    throwIfFailed(QXComStringFromGUID(&classId, text, 39));
    return readText(std::u16string(u"CLSID\\") + text + u"\\InprocServer32");
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
std::shared_ptr<LoadedModule> loadModule(const std::string& path) {
    if (auto module = loadedModule(path))
        return module;
    std::shared_ptr<LoadedModule> module = LoadedModule::open(path);
    LockedCache cache;
    auto& modules = cache->modules;
    const auto found = std::ranges::find(modules, path, &LoadedModule::path);
    if (found == modules.end())
        modules.push_back(module);
    else
        cache.drop(std::exchange(module, *found));
    module->countUse();
    return module;
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
    const int64_t now = monotonicMs();
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

/// In a child of fork: whoever was freeing is not there.
void forgetFreeing() noexcept { s_isFreeing.clear(); }

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
    withinModule([&] { return static_cast<int32_t>((*m_factory)->unknown.Release(m_factory)); });
}

int32_t Factory::create(void* outer, const QXGUID& interfaceId, void** object) const noexcept {
    return withinModule(
        [&] { return (*m_factory)->CreateInstance(m_factory, outer, &interfaceId, object); });
}

uint64_t registryVersion() {
    uint64_t version = 0;
    if (const int32_t result = QXRegistryGetVersion(Root, &version); result != result::NotFound)
        throwIfFailed(result);
    return version;
}

std::optional<QXGUID> findClass(uint64_t version, std::u16string_view progId) {
    {
        LockedCache cache;
        const auto& names = cache.at(version).names;
        if (const auto found = names.find(progId); found != names.end())
            return found->second;
    }
    const auto classId = readClass(progId);
    LockedCache cache;
    if (classId && cache->version == version)
        cache->names.insert_or_assign(std::u16string(progId), *classId);
    return classId;
}

std::shared_ptr<const Factory> findFactory(uint64_t version, const QXGUID& classId) {
    {
        LockedCache cache;
        if (auto factory = knownFactory(cache.at(version), classId))
            return factory;
    }
    const auto path = readModulePath(classId);
    if (!path)
        return nullptr;
    const auto made =
        std::make_shared<const Factory>(loadModule(LoadedModule::resolve(path->c_str())), classId);
    LockedCache cache;
    // When another thread was faster, that one's factory is for all. After a change of the registry
    // this one is still right for the call, which began before, but not for later ones.
    return cache->version == version ? cache->factories.try_emplace(classId, made).first->second
                                     : made;
}

std::shared_ptr<LoadedModule> useModule(const char16_t* path) {
    const std::string resolved = LoadedModule::resolve(path);
    auto module = loadedModule(resolved);
    return module != nullptr ? module : LoadedModule::open(resolved);
}

std::shared_ptr<LoadedModule> useModuleFile(const char* path) {
    return loadModule(LoadedModule::resolve(path));
}

bool tryFreeUnusedModules(uint32_t delayMs, int32_t& kept) {
    if (s_isFreeing.test_and_set())
        return false;
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
    return true;
}

} // namespace qx::platform::components

constexpr qx::platform::ForkSteps qx::platform::ComponentForkSteps =
    HeldInFork<components::s_lock, components::forgetFreeing>;
