#pragma once

#include <span>
#include <typeinfo>

#include <qx/core/Object.h>

namespace qx {

/// One runtime class as its folder states it: what start-up registers.
struct ClassRow {
    const char16_t* name;
    const std::type_info* type;
    Object* (*creator)();
};

/// A class that can be made by name.
template <class T>
constexpr ClassRow creatable(const char16_t* name) {
    return {name, &typeid(T), []() -> Object* { return new T(); }};
}

/// A class that is only known by name.
template <class T>
constexpr ClassRow known(const char16_t* name) {
    return {name, &typeid(T), nullptr};
}

/// What a folder adds to start-up and shut-down. Start-up may run before any dynamic
/// initialization, so every subsystem is a constant.
struct Subsystem {
    std::span<const ClassRow> classes;
    /// Called when all classes are registered; null for nothing to do. May throw.
    void (*start)() = nullptr;
    /// Called at the last shut-down; null for nothing to do. May throw.
    void (*stop)() = nullptr;
    /// Called once when the library leaves the process, also after a failed shut-down.
    void (*unload)() noexcept = nullptr;
};

// Each is defined in Subsystem.cpp of the folder that has the name of its namespace.
extern const Subsystem coreSubsystem;
namespace collections {
extern const Subsystem subsystem;
}
namespace exec {
extern const Subsystem subsystem;
}
namespace i18n {
extern const Subsystem subsystem;
}
namespace io {
extern const Subsystem subsystem;
}
namespace math {
extern const Subsystem subsystem;
}
namespace net {
extern const Subsystem subsystem;
}
namespace pcom {
extern const Subsystem subsystem;
}
namespace sync {
extern const Subsystem subsystem;
}
namespace text::charset {
extern const Subsystem subsystem;
}
namespace util {
extern const Subsystem subsystem;
}

} // namespace qx
