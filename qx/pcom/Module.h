#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include <qx/core/GUID.h>
#include <qx/core/ModuleCount.h>
#include <qx/core/String.h>
#include <qx/pcom/IClassFactory.h>
#include <qx/platform/export.h>
#include <qx/sync/ForkSafeMutex.h>

namespace qx::pcom {

class Module;

class RegistryChange;

/// One class that a module offers. A table of them ends with a row without class identifier; the
/// module keeps its factories there, so that a table belongs to one module.
struct ClassData {
    /// Null in the row that ends a table. Not owned, like all that the functions below return.
    const GUID* clsid = nullptr;
    /// Handed to createFactory as it is.
    uintptr_t creatorParameter = 0;
    /// Makes the class factory and stores its interface @p iid with a reference.
    int32_t (*createFactory)(Module* module, uintptr_t creatorParameter, const GUID& iid,
                             void** out) = nullptr;
    /// Programmatic identifier with the version at its end, such as "Maker.Thing.1"; the function
    /// or what it returns may be null, as for the next two.
    const char16_t* (*getProgID)() = nullptr;
    const char16_t* (*getDescription)() = nullptr;
    /// The same without the version.
    const char16_t* (*getVersionIndependentProgID)() = nullptr;
    /// The factory once it was made, with a reference; null at first.
    IQXClassFactory* factory = nullptr;
};

/// The classes of a component module: hands out their factories, counts what lives, and enters them
/// into the registry. One object for each module, alive as long as the module is loaded.
///
/// All members may be called from any thread.
class QX_API Module : public ModuleCount {
public:
    /// @param table  not owned
    /// @throws ResultException when the lock cannot be made
    explicit Module(ClassData* table);
    /// Releases the factories.
    virtual ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    /// 0 when no object of the module lives and no factory is locked, else 1.
    virtual int32_t CanUnloadNow();

    /// The factory of a class, which is made on the first request and kept, as interface @p iid
    /// with a reference for the caller.
    /// @return what the last row answered that was asked, one that succeeds or that at the end:
    ///     result::ClassNotAvailable when it is of another class, so that a failure of the
    ///     factory's maker or query is seen only where no row follows; @p out is then null
    virtual int32_t GetClassObject(const GUID& clsid, const GUID& iid, void** out);

    /// Enters every class into the registry, below QX_HKEY_CLASSES_64: all of them in one change
    /// or, after a failure, none. Entering again replaces.
    /// @param modulePath  of the module's file, nul-terminated
    /// @throws ResultException when the registry cannot be changed
    virtual int32_t RegisterServer(const char16_t* modulePath);
    /// Takes every class out of the registry, in one change.
    /// @throws ResultException when the registry cannot be changed; with result::NotFound when none
    ///     of the classes was there
    virtual int32_t UnregisterServer();

    /// Enters the classes with the path of the shared library or program that @p module, an address
    /// inside it, belongs to.
    /// @return also result::Fail when the path cannot be found out, has 260 bytes or more, or is
    ///     no text in the default encoding
    int32_t RegisterServer(const void* module);
    /// A path is a text of UTF-16 units.
    int32_t RegisterServer(const char* modulePath) = delete;
    int32_t RegisterServer(const signed char* modulePath) = delete;
    int32_t RegisterServer(const char8_t* modulePath) = delete;
    int32_t RegisterServer(const wchar_t* modulePath) = delete;

protected:
    /// Enters one class. Within RegisterServer the change is made at the end, with all others.
    virtual int32_t RegisterClassEntry(ClassData& entry, const char16_t* modulePath);
    /// Takes one class out: its programmatic identifiers and the key of its class identifier.
    /// Within UnregisterServer the change is made at the end, with all others.
    /// @throws ResultException with result::NotFound when the class is not there
    virtual int32_t UnregisterClassEntry(ClassData& entry);
    /// Asks one row for the factory; result::ClassNotAvailable when it is of another class.
    virtual int32_t TryGetClassObject(const GUID& clsid, const GUID& iid, void** out,
                                      ClassData& entry);

private:
    friend class RegistryChange;

    struct Registration {
        struct Step {
            String path;
            String value;
            bool isDeletion;
        };
        std::vector<Step> steps;
        bool isFound;
    };

    int32_t makeFactory(ClassData& entry);

    ClassData* m_classes;
    sync::ForkSafeMutex m_lock;
    /// The changes being gathered; nothing outside of the calls that change the registry.
    std::optional<Registration> m_registration;
};

/// Changes of the registry below QX_HKEY_CLASSES_64 that a module makes together. One that is made
/// while another one of the same module lives, as in RegisterClassEntry called by RegisterServer,
/// is a part of that. Keeps the other threads out of the module's registration as long as it lives.
class QX_API RegistryChange {
public:
    explicit RegistryChange(Module& module);
    /// Forgets what was not committed.
    ~RegistryChange();
    RegistryChange(const RegistryChange&) = delete;
    RegistryChange& operator=(const RegistryChange&) = delete;

    /// Sets the default value of a key; null stands for an empty text.
    void setDefaultValue(const String& path, const char16_t* value);
    /// Deletes a key with all below it, where there is one.
    void deleteKey(const String& path);
    /// Says that the change takes something out that is there.
    void setFound() noexcept;
    bool isFound() const noexcept;
    bool isPart() const noexcept { return m_isPart; }

    /// Makes the changes, all or none; a part leaves that to the whole.
    /// @throws ResultException
    void commit();

private:
    Module& m_module;
    std::lock_guard<sync::ForkSafeMutex> m_guard;
    const bool m_isPart;
};

} // namespace qx::pcom
