// Static objects that use strings and collections before main and after it, when the library may be
// shut down.

#include <string>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/String.h>
#include <qx/core/runtime/Class.h>
#include <qx/core/runtime/Startup.h>

#include "tests/support/Require.h"

namespace {

using qx::collections::pcom::ArrayList;
using qx::collections::pcom::LinkedList;
using qxtest::require; // which nothing catches: the program aborts

/// Works while it is made and while it goes.
struct Guest {
    Guest() {
        text.append(u"before main");
        const std::string bytes(reinterpret_cast<const char*>(text.getBytes(u"UTF-8")));
        require(bytes == "before main", "encoding before main");
        list.add((new qx::String(text))->GetUnknown());
        require(list.contains(text.GetUnknown()), "list before main");
    }

    ~Guest() {
        require(list.contains(text.GetUnknown()), "list after main");
        require(LinkedList(list).equals(list), "list made after main");
        text.append(u", after it");
        qx::String copy(text);
        require(copy.equals(u"before main, after it"), "text after main");
        copy.setTo(qx::String());
        copy = empty;
        require(copy.getLength() == 0 && *copy.getData() == 0, "empty string after main");
        require(empty.toString().equals(copy), "copy after main");
    }

    qx::String text, empty;
    ArrayList list;
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
