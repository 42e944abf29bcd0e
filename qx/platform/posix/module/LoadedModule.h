#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <qx/platform/component.h>
#include <qx/platform/result.h>

namespace qx::platform {

/// An interface pointer to a class factory, which may be written in C.
using ClassFactoryPointer = const QXClassFactoryTable**;

/// Runs what is code of a module: its result, and result::Fail for what it throws. The platform
/// layer does not know the exceptions of those above it.
template <class Body>
int32_t withinModule(Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        return result::Fail;
    }
}

/// A component module in memory. The library stays loaded as long as it does.
class LoadedModule {
public:
    /// Turns the path of a module into the absolute one without links, by which modules are known.
    /// Throws result::InvalidArgument for a relative path, result::AccessDenied when somebody else
    /// than the user or the system may change the file, a folder above it or a link on the way.
    static std::string resolve(const char16_t* path);
    /// The same for a path in the form of the system.
    static std::string resolve(const char* path);

    /// Loads the file of a resolved path. Throws result::NotALibrary, result::NotAModule or
    /// result::ModuleVersion, all before anything in it runs; result::ModuleNotFound when it lacks
    /// something it needs, result::SymbolNotFound when it does not export DllGetClassObject.
    static std::shared_ptr<LoadedModule> open(const std::string& path);

    ~LoadedModule();
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    const std::string& path() const noexcept { return m_path; }

    /// The factory of a class, with a reference. Throws what the module answers, result::Fail when
    /// that is neither a factory nor an error.
    ClassFactoryPointer getFactory(const QXGUID& classId) const;
    /// Whether nothing of the module is alive; never of one that cannot be asked.
    bool isUnused() const noexcept;
    int32_t registerServer() const noexcept;
    int32_t unregisterServer() const noexcept;

    /// Unloads the library unless somebody else uses it or it cannot be unloaded, as one with a
    /// unique symbol: the module then is as it was. Nothing of it may be in use.
    /// @return whether it is gone
    bool tryUnload() noexcept;

    // What follows belongs to the table of loaded modules and is guarded by its lock.

    void countUse() noexcept {
        ++useCount;
        unusedSince = 0;
    }

    /// How often somebody took the module from the table.
    uint64_t useCount = 0;
    /// When it was seen unused for the first time since, in milliseconds; 0 if it was not.
    int64_t unusedSince = 0;

private:
    explicit LoadedModule(const std::string& path) : m_path(path) {}
    void findExports() noexcept;
    template <class Function>
    void findExport(const char* name, Function*& function) const noexcept;

    const std::string m_path;
    void* m_library = nullptr;
    void* m_self = nullptr; // a use of this library; null when it is part of the program
    decltype(&DllGetClassObject) m_getClassObject = nullptr;
    decltype(&DllCanUnloadNow) m_canUnloadNow = nullptr;
    decltype(&DllRegisterServer) m_registerServer = nullptr;
    decltype(&DllUnregisterServer) m_unregisterServer = nullptr;
};

} // namespace qx::platform
