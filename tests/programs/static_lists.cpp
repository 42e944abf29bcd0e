// Static objects that use collections before main and after it, when the library may be shut down.

#include <cstdio>
#include <cstdlib>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/String.h>
#include <qx/core/runtime/Startup.h>

namespace {

using qx::collections::pcom::ArrayList;
using qx::collections::pcom::LinkedList;

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::_Exit(1);
    }
}

/// Works on lists while it is made and while it goes.
class Guest {
public:
    Guest() {
        m_list.add((new qx::String(u"before main"))->GetUnknown());
        require(m_list.contains(m_text.GetUnknown()), "list before main");
    }

    ~Guest() {
        require(m_list.contains(m_text.GetUnknown()), "list after main");
        const LinkedList made(m_list);
        require(made.equals(m_list), "list made after main");
    }

private:
    const qx::String m_text{u"before main"};
    ArrayList m_list;
};

const Guest s_guest;

/// Goes first of the two and shuts the library down, so that the guest outlives it.
struct ShutDown {
    ~ShutDown() { require(QXCLLibUninit() == 0, "shut-down"); }
};

const ShutDown s_shutDown;

} // namespace

int main() { return 0; }
