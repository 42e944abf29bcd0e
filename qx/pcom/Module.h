#pragma once

#include <cstdint>
#include <memory>

#include <qx/core/GUID.h>
#include <qx/core/ModuleCount.h>
#include <qx/core/String.h>
#include <qx/pcom/IClassFactory.h>
#include <qx/platform/export.h>
#include <qx/sync/ForkSafeMutex.h>

namespace qx::pcom {

class Module;

/// One class that a module offers. A table of classes ends with a row without a class identifier.
/// The module keeps its factories in the table, so that a table belongs to one module.
struct ClassData {
    /// Null in the row that ends a table. Not owned, like everything the functions below return.
    const GUID* clsid = nullptr;
    /// Passed to createFactory unchanged.
    uintptr_t creatorParameter = 0;
    /// Makes the class factory and stores its interface @p iid with a reference.
    int32_t (*createFactory)(Module* module, uintptr_t creatorParameter, const GUID& iid,
                             void** out) = nullptr;
    /// The programmatic identifier with the version at its end, such as "Maker.Thing.1". The
    /// function or its result may be null; the same holds for the next two.
    const char16_t* (*getProgID)() = nullptr;
    const char16_t* (*getDescription)() = nullptr;
    /// The same without the version.
    const char16_t* (*getVersionIndependentProgID)() = nullptr;
    /// The factory with a reference, once it was made; null at first.
    IQXClassFactory* factory = nullptr;
};

/// The classes of a component module: hands out their factories, counts their living objects, and
/// enters them into the registry. There is one object for each module; it lives as long as the
/// module is loaded.
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

    /// Stores the interface @p iid of the factory of a class with a reference for the caller. The
    /// factory is made on the first request and kept.
    /// @return the result of the first row that succeeds, otherwise that of the last row, which is
    ///     result::ClassNotAvailable for a row of another class: a failure to make or query the
    ///     factory shows only when no row follows. @p out is null after a failure.
    virtual int32_t GetClassObject(const GUID& clsid, const GUID& iid, void** out);

    /// Enters every class into the registry, below QX_HKEY_CLASSES_64: all of them in one change
    /// or, after a failure, none. Existing entries are replaced.
    /// @param modulePath  the path of the module's file, nul-terminated
    /// @throws ResultException when the registry cannot be changed; with result::InvalidArgument
    ///     for a class whose programmatic identifier is empty or has a backslash
    virtual int32_t RegisterServer(const char16_t* modulePath);
    /// Removes every class from the registry in one change.
    /// @throws ResultException when the registry cannot be changed; with result::NotFound when it
    ///     has none of the classes
    virtual int32_t UnregisterServer();

    /// Enters the classes with the path of the shared library or program that contains the address
    /// @p module.
    /// @return also result::Fail when the path cannot be determined, has 260 bytes or more, or is
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
    /// Removes one class: its programmatic identifiers and the key of its class identifier. Within
    /// UnregisterServer the change is made at the end, with all others.
    /// @throws ResultException with result::NotFound when the registry does not have the class
    virtual int32_t UnregisterClassEntry(ClassData& entry);
    /// Asks one row for the factory.
    /// @return also result::ClassNotAvailable for a row of another class
    virtual int32_t TryGetClassObject(const GUID& clsid, const GUID& iid, void** out,
                                      ClassData& entry);

private:
    int32_t makeFactory(ClassData& entry);

    ClassData* m_classes;
    sync::ForkSafeMutex m_lock;
};

/// Changes of the registry below QX_HKEY_CLASSES_64 that a module makes together. An object that is
/// created while another one of the same module lives in the same thread, as in RegisterClassEntry
/// when RegisterServer calls it, is a part of that one and ends before it. Threads do not wait for
/// each other: what one commits is made whole, before or after what another commits.
class QX_API RegistryChange {
public:
    explicit RegistryChange(Module& module);
    /// Forgets what was not committed.
    ~RegistryChange();
    RegistryChange(const RegistryChange&) = delete;
    RegistryChange& operator=(const RegistryChange&) = delete;

    /// Sets the default value of a key; null means an empty text.
    void setDefaultValue(const String& path, const char16_t* value);
    /// Deletes a key with everything below it, if it exists.
    void deleteKey(const String& path);
    /// Notes that the change removes something that exists.
    void setFound() noexcept;
    bool isFound() const noexcept;
    bool isPart() const noexcept { return m_isPart; }

    /// Makes all of the changes or none. For a part this does nothing: the whole makes them.
    /// @throws ResultException
    void commit();

private:
    struct Steps;

    const Module& m_module;
    const RegistryChange* const m_outer; ///< the next one of the thread, of any module
    std::shared_ptr<Steps> m_steps;      ///< those of the whole
    bool m_isPart = false;
};

} // namespace qx::pcom
