// A component module with a class that costs next to nothing to make.

#include <qx/core/Object.h>
#include <qx/pcom/ModuleExports.h>

namespace {

class Thing : public qx::Object {
public:
    static constexpr qx::GUID Clsid{0x62656E63, 0x6800, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 1}};
    static const char16_t* GetComProgID() { return u"Bench.Thing"; }
};

qx::pcom::ClassData s_classes[] = {qx::pcom::classRow<Thing>(), {}};

} // namespace

QX_DEFINE_MODULE(s_classes);
