#pragma once

#include <type_traits>

#include <qx/core/Implements.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/pcom/IClassFactory.h>
#include <qx/pcom/Module.h>

namespace qx::pcom {

/// The factory of a class: creates its objects through a function that the class supplies. The
/// module that was passed to SetComModule does not count the factory as an object, so that a module
/// which keeps its factories can be unloaded.
///
/// Any number of threads may use a factory once it is set up.
class QX_API ClassFactory : public Implements<ComObject, IQXClassFactory> {
public:
    /// Creates an object of the class and stores its interface @p iid with a reference. @p module
    /// is the factory's module.
    using CreateInstanceFunction = int32_t (*)(Module* module, IQXUnknown* outer, const GUID& iid,
                                               void** out);

    void SetCreateInstanceQIFunc(CreateInstanceFunction function) noexcept {
        m_createInstance = function;
    }

    uint32_t AddRef() override { return InternalAddRef(); }
    uint32_t Release() override;

    /// @return also result::InvalidArgument with @p outer and another interface than IQXUnknown,
    ///     result::NotImplemented without a function, the code of what the function throws, and
    ///     result::Fail when it succeeds without an object
    int32_t CreateInstance(IQXUnknown* outer, const GUID& iid, void** out) override;
    int32_t LockServer(int16_t lock) override;

private:
    Module* module() const noexcept { return static_cast<Module*>(GetComModule()); }

    CreateInstanceFunction m_createInstance = nullptr;
};

/// Makes @p module, unless it is null, count @p object, which was just created with new, as long as
/// it has references. Its constructor may have handed some out, to other threads too.
template <class T>
Reference<T> countedNew(ModuleCount* module, T* object) {
    if (!module || object->GetRefCount() == 0) {
        object->SetComModule(module);
        return object;
    }
    // Those that are out did not count it, and the last one to go will. With this one no other
    // thread comes to the first or the last reference, where it would look at the module.
    const Reference<T> made(object);
    if constexpr (!std::is_base_of_v<ClassFactory, T>)
        module->AddRef();
    made->SetComModule(module);
    return made;
}

/// Hands out the interface @p iid of @p object, which was just created with new and is counted by
/// @p module. An object without that interface is deleted.
template <class T>
int32_t handOutNew(ModuleCount* module, T* object, const GUID& iid, void** out) {
    return countedNew(module, object)->QueryInterface(iid, out);
}

/// Creates a default-constructed @p T, a class over ComObject that cannot be part of another
/// object.
template <class T>
int32_t createInstance(Module* module, IQXUnknown* outer, const GUID& iid, void** out) {
    return resultOf([&]() -> int32_t {
        if (outer)
            return result::NoAggregation;
        return handOutNew(module, new T(), iid, out);
    });
}

/// Makes the class factory that creates by @p Create.
template <ClassFactory::CreateInstanceFunction Create>
int32_t createFactory(Module* module, uintptr_t /*creatorParameter*/, const GUID& iid, void** out) {
    return resultOf([&] {
        auto* const factory = new ClassFactory();
        factory->SetCreateInstanceQIFunc(Create);
        return handOutNew(module, factory, iid, out);
    });
}

/// The row of a class @p T over ComObject with a constructor without arguments and a static GUID
/// `Clsid`. The class replaces those of ComObject's static functions GetComProgID,
/// GetComDescription and GetComVersionIndependentProgID, which return null, for which it has a
/// text.
template <class T>
constexpr ClassData classRow() noexcept {
    return {identifier<T::Clsid>(),
            0,
            &createFactory<&createInstance<T>>,
            &T::GetComProgID,
            &T::GetComDescription,
            &T::GetComVersionIndependentProgID,
            nullptr};
}

} // namespace qx::pcom
