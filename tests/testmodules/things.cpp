// A component module in C++ with two classes.

#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/pcom/ModuleExports.h>
#include <qx/platform/module.h>

/// Called while a thing is made, when a test sets it.
extern "C" QX_API void (*qxTestOnCreate)();
void (*qxTestOnCreate)() = nullptr;

namespace {

struct Thing : qx::Object {
    static constexpr qx::GUID Clsid{0x7468696E, 0x6701, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 1}};
    static const char16_t* GetComProgID() { return u"Test.Thing.1"; }
    static const char16_t* GetComDescription() { return u"A thing"; }
    static const char16_t* GetComVersionIndependentProgID() { return u"Test.Thing"; }

    Thing() {
        if (qxTestOnCreate)
            qxTestOnCreate();
    }
    uint32_t hashCode() const override { return 4711; }
    qx::String toString() const override { return {}; }
};

struct Other : qx::Object {
    static constexpr qx::GUID Clsid{0x7468696E, 0x6701, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 2}};
    static const char16_t* GetComProgID() { return u"Test.Other.1"; }
};

qx::pcom::ClassData s_classes[] = {qx::pcom::classRow<Thing>(), qx::pcom::classRow<Other>(), {}};

// Shows tests how often the module is loaded: see QXModuleGetLiveCount.
[[gnu::constructor]] void attach() { QXModuleSetInitialized(s_classes, 1); }
[[gnu::destructor]] void detach() { QXModuleSetInitialized(s_classes, 0); }

} // namespace

QX_DEFINE_MODULE(s_classes);
