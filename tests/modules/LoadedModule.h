#pragma once

#include <string>

#include <gtest/gtest.h>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/exec/SharedLibrary.h>
#include <qx/pcom/IClassFactory.h>
#include <qx/platform/component.h>

namespace qxtest {

/// A component module of the build, loaded like any library: its classes are reached without the
/// registry.
class LoadedModule {
public:
    /// @param file  such as "qxcodecs.so"
    explicit LoadedModule(const std::string& file)
        : m_library(qx::String((QX_TEST_MODULE_DIR "/" + file).c_str()).getData()) {}

    /// One of the four functions of a module, by its name.
    template <class Function>
    Function* function(const char16_t* name) const {
        return reinterpret_cast<Function*>(m_library.getSymbol(name));
    }

    /// Creates a component; null after a failure, with its code in @p result.
    template <class Interface>
    qx::Reference<Interface> create(const qx::GUID& classId, int32_t* result = nullptr) const {
        qx::Reference<IQXClassFactory> factory;
        qx::Reference<Interface> component;
        int32_t code = function<decltype(DllGetClassObject)>(u"DllGetClassObject")(
            &classId, &IQXClassFactory::Iid, factory.putVoid());
        if (code >= 0)
            code = factory->CreateInstance(nullptr, Interface::Iid, component.putVoid());
        if (result)
            *result = code;
        else
            EXPECT_GE(code, 0);
        return component;
    }

    bool canUnload() const {
        return function<decltype(DllCanUnloadNow)>(u"DllCanUnloadNow")() == 0;
    }

private:
    qx::exec::SharedLibrary m_library;
};

} // namespace qxtest
