#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include <qx/platform/module.h>

namespace qx::pcom {

/// Room for a static object of a component module that ends when the module is unloaded, and stays
/// when the process ends: modules are left as they are then, since threads and static objects of
/// the program may go on with them.
///
/// @code
/// constinit qx::pcom::ModuleStatic<Thing> s_thing;
/// [[gnu::destructor]] void endThing() { s_thing.end(); }
///
/// Thing& theThing() {
///     static Thing& thing = s_thing.make();
///     return thing;
/// }
/// @endcode
template <class T>
class ModuleStatic {
public:
    /// Makes the object. To be called once.
    template <class... Arguments>
    T& make(Arguments&&... arguments) {
        m_object = ::new (static_cast<void*>(m_place)) T(std::forward<Arguments>(arguments)...);
        return *m_object;
    }
    /// Ends the object where the module is unloaded. To be called when the system ends the module.
    void end() noexcept {
        if (m_object && QXModuleIsUnloading() != 0)
            std::destroy_at(m_object);
    }

private:
    alignas(T) std::byte m_place[sizeof(T)]{};
    T* m_object = nullptr;
};

} // namespace qx::pcom
