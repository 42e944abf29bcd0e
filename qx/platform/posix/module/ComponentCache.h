#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <qx/platform/types.h>

#include <qx/platform/posix/module/LoadedModule.h>

/* The components of registered modules: which class a programmatic identifier names, which module
 * offers the class, and the factories of the classes that were asked for. What the registry said is
 * kept as long as the registry does not change; each call looks at that first. No lock is held
 * while code of a module runs, its loading included. */

namespace qx::platform::components {

/// The factory of a class with the module that it is from.
class Factory {
public:
    explicit Factory(std::shared_ptr<LoadedModule> module) noexcept : m_module(std::move(module)) {}
    ~Factory();
    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;

    /// Asks the module for the factory of a class, once.
    int32_t obtain(const QXGUID& classId) noexcept {
        return m_module->getFactory(classId, m_factory);
    }

    const std::shared_ptr<LoadedModule>& module() const noexcept { return m_module; }
    int32_t create(void* outer, const QXGUID& interfaceId, void** object) const noexcept;

private:
    const std::shared_ptr<LoadedModule> m_module;
    ClassFactoryPointer m_factory = nullptr;
};

/// A number for the present state of the registry, to be found out first: the calls below answer as
/// of then or later. Costs one look at the file's status when nothing changed.
int32_t registryVersion(uint64_t& version);

/// The class that the registry has for a programmatic identifier; result::NotFound for none.
/// @throws std::bad_alloc
int32_t findClass(uint64_t version, const char16_t* progId, QXGUID& classId);

/// The factory of a registered class, from its module, which is loaded if need be;
/// result::ClassNotAvailable for one that is not registered.
/// @throws std::bad_alloc
int32_t findFactory(uint64_t version, const QXGUID& classId,
                    std::shared_ptr<const Factory>& factory);

/// The module of a path, loaded for this call unless it is already.
/// @throws std::bad_alloc
int32_t useModule(const char16_t* path, std::shared_ptr<LoadedModule>& module);

/// Unloads the modules of which nothing is used and was not when that was asked @p delayMs ago;
/// result::Busy while another thread does.
/// @param kept  modules that stay loaded
/// @throws std::bad_alloc
int32_t freeUnusedModules(uint32_t delayMs, int32_t& kept);

} // namespace qx::platform::components
