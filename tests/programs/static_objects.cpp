// Static objects that use strings and collections before main and after it, when the library may be
// shut down.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/String.h>
#include <qx/core/runtime/Class.h>
#include <qx/core/runtime/Startup.h>

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::_Exit(1);
    }
}

using qx::collections::pcom::ArrayList;
using qx::collections::pcom::LinkedList;

/// Works while it is made and while it goes.
class Guest {
public:
    Guest() {
        m_text.append(u"before main");
        const std::string bytes(reinterpret_cast<const char*>(m_text.getBytes(u"UTF-8")));
        require(bytes == "before main", "encoding before main");
        m_list.add((new qx::String(m_text))->GetUnknown());
        require(m_list.contains(m_text.GetUnknown()), "list before main");
    }

    ~Guest() {
        require(m_list.contains(m_text.GetUnknown()), "list after main");
        require(LinkedList(m_list).equals(m_list), "list made after main");
        m_text.append(u", after it");
        qx::String empty(m_text);
        require(empty.equals(u"before main, after it"), "text after main");
        empty.setTo(qx::String());
        empty = m_empty;
        require(empty.getLength() == 0 && *empty.getData() == 0, "empty string after main");
        require(m_empty.toString().equals(empty), "copy after main");
    }

private:
    qx::String m_text, m_empty;
    ArrayList m_list;
};

const Guest s_guest;

/// Goes first of the two and shuts the library down, so that the guest outlives it.
struct ShutDown {
    ~ShutDown() { require(QXCLLibUninit() == 0, "shut-down"); }
} const s_shutDown;

} // namespace

int main() {
    require(qx::Class::forName(u"CQXString") != nullptr, "classes in main");
    return 0;
}
