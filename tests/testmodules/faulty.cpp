// A component module that does everything wrong; CMakeLists.txt builds it in several ways.

#include <cstdint>

#include <qx/pcom/IClassFactory.h>
#include <qx/platform/component.h>
#include <qx/platform/module.h>
#include <qx/platform/result.h>

#ifdef FAULTY_MAJOR
QX_COMPONENT_NOTE_OF(FAULTY_MAJOR, FAULTY_MINOR);
#elif !defined(FAULTY_WITHOUT_NOTE)
QX_COMPONENT_NOTE;
#endif

#ifdef FAULTY_WITH_UNRESOLVED_FUNCTION
extern "C" int32_t qxTestNowhere();
extern "C" QX_API int32_t qxTestCallsNowhere() { return qxTestNowhere(); }
#endif

namespace {

/// What goes wrong, by the first field of the class identifier.
enum Fault : uint32_t {
    EntryFails = 1,
    EntryGivesNull,
    EntryThrows,
    CreationFails,
    CreationGivesNull,
    CreationThrows,
};

Fault s_fault; // that of the class last asked for

struct FaultyFactory : IQXClassFactory {
    int32_t QueryInterface(const qx::GUID&, void**) override { return qx::result::NoInterface; }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { throw "a release"; }
    int32_t CreateInstance(IQXUnknown*, const qx::GUID&, void** out) override {
        if (s_fault == CreationThrows)
            throw "an instance";
        // An object in spite of the failure must not get through.
        *out = s_fault == CreationFails ? this : nullptr;
        return s_fault == CreationFails ? qx::result::DiskFull : qx::result::Ok;
    }
    int32_t LockServer(int16_t) override { return qx::result::Ok; }
};

constinit FaultyFactory s_factory;

// Shows that something of the module ran: see QXModuleGetLiveCount.
[[gnu::constructor]] void attach() { QXModuleSetInitialized(&s_factory, 1); }
[[gnu::destructor]] void detach() { QXModuleSetInitialized(&s_factory, 0); }

} // namespace

#ifndef FAULTY_WITHOUT_ENTRY
int32_t DllGetClassObject(const QXGUID* classId, const QXGUID*, void** object) {
    s_fault = static_cast<Fault>(classId->Data1);
    if (s_fault == EntryThrows)
        throw "an entry";
    *object = s_fault == EntryGivesNull ? nullptr : &s_factory;
    if (s_fault == EntryFails)
        return qx::result::AccessDenied;
    return s_fault > CreationThrows ? qx::result::ClassNotAvailable : qx::result::Ok;
}

int32_t DllCanUnloadNow() { return 0; }

int32_t DllRegisterServer() { throw "a registration"; }
#endif
