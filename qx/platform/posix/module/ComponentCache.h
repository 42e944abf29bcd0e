#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <qx/platform/types.h>

#include <qx/platform/posix/module/LoadedModule.h>

/* The components of registered modules: which class a programmatic identifier names, which module
 * offers the class, and the factories of the classes that were asked for. What the registry said is
 * kept as long as the registry does not change; each call looks at that first. The lock of all this
 * is not held while code of a module runs. That of the loader is: see LoadedModule::open. */

namespace qx::platform::components {

/// The factory of a class with the module that it is from.
class Factory {
public:
    /// Asks the module for it.
    Factory(std::shared_ptr<LoadedModule> module, const QXGUID& classId)
        : m_module(std::move(module)), m_factory(m_module->getFactory(classId)) {}
    ~Factory();
    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;

    const std::shared_ptr<LoadedModule>& module() const noexcept { return m_module; }
    int32_t create(void* outer, const QXGUID& interfaceId, void** object) const noexcept;

private:
    const std::shared_ptr<LoadedModule> m_module;
    const ClassFactoryPointer m_factory;
};

/// A number for the present state of the registry, to be found out first: the calls below answer as
/// of then or later. 0 without a registry. Costs one look at the file's status when nothing
/// changed.
uint64_t registryVersion();

/// The class that the registry has for a programmatic identifier.
std::optional<QXGUID> findClass(uint64_t version, std::u16string_view progId);

/// The factory of a registered class, from its module, which is loaded if need be; null for a class
/// that is not registered.
std::shared_ptr<const Factory> findFactory(uint64_t version, const QXGUID& classId);

/// The module of a path, loaded for this call unless it is already.
std::shared_ptr<LoadedModule> useModule(const char16_t* path);

/// The module of a path in the form of the system, loaded if need be; it stays.
std::shared_ptr<LoadedModule> useModuleFile(const char* path);

/// Unloads the modules of which nothing is used and was not when that was asked @p delayMs ago;
/// false while another thread does.
/// @param kept  modules that stay loaded
bool tryFreeUnusedModules(uint32_t delayMs, int32_t& kept);

} // namespace qx::platform::components
