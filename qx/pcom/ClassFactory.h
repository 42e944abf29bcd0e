#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/pcom/IClassFactory.h>
#include <qx/pcom/Module.h>

namespace qx::pcom {

/// The factory of a class: creates its objects through a function that the class supplies. The
/// module that SetComModule named does not count it as an object, so that a module which keeps its
/// factories can be unloaded.
///
/// May be used from any thread once it is set up.
class QX_API ClassFactory : public Implements<ComObject, IQXClassFactory> {
public:
    /// Creates an object of the class and stores its interface @p iid with a reference. @p module
    /// is the factory's.
    using CreateInstanceFunction = int32_t (*)(Module* module, IQXUnknown* outer, const GUID& iid,
                                               void** out);

    void SetCreateInstanceQIFunc(CreateInstanceFunction function) noexcept {
        m_createInstance = function;
    }

    uint32_t AddRef() override { return InternalAddRef(); }
    uint32_t Release() override;

    /// @return also result::InvalidArgument with @p outer and another interface than IQXUnknown,
    ///     result::NotImplemented without a function; what the function throws is converted
    int32_t CreateInstance(IQXUnknown* outer, const GUID& iid, void** out) override;
    int32_t LockServer(int16_t lock) override;

private:
    Module* module() const noexcept { return static_cast<Module*>(GetComModule()); }

    CreateInstanceFunction m_createInstance = nullptr;
};

/// Lets @p module, null for none, count @p object, which was just made by new and has no reference
/// yet, and hands out its interface @p iid. An object that does not have it is gone.
template <class T>
int32_t handOutNew(ModuleCount* module, T* object, const GUID& iid, void** out) {
    object->SetComModule(module);
    return Reference<T>(object)->QueryInterface(iid, out);
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

/// The row of a class @p T over ComObject that has a constructor without arguments, a static GUID
/// `Clsid`, and of the static functions GetComProgID, GetComDescription and
/// GetComVersionIndependentProgID those with a text.
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
