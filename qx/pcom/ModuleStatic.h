#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include <qx/platform/module.h>

namespace qx::pcom {

/// A static object of a component module. It ends when the module is unloaded, and stays when the
/// process ends: modules are left as they are then, since threads and static objects of the program
/// may go on with them.
template <class T>
class ModuleStatic {
public:
    template <class... Arguments>
    explicit ModuleStatic(Arguments&&... arguments) {
        ::new (static_cast<void*>(m_place)) T(std::forward<Arguments>(arguments)...);
    }
    ~ModuleStatic() {
        if (QXModuleIsUnloading() != 0)
            get().~T();
    }
    ModuleStatic(const ModuleStatic&) = delete;
    ModuleStatic& operator=(const ModuleStatic&) = delete;

    T& get() noexcept { return *std::launder(reinterpret_cast<T*>(m_place)); }

private:
    alignas(T) std::byte m_place[sizeof(T)];
};

} // namespace qx::pcom
