/* Uses the library as it was installed, from C. Arguments: as of main.cpp, which has registered the
 * modules. */

#include <stdio.h>

#include <qx/platform/component.h>
#include <qx/platform/module.h>
#include <qx/platform/native.h>
#include <qx/platform/registry.h>
#include <qx/platform/text.h>

static const QXGUID UnknownId = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

static int useComponent(const char* registry) {
    const QXUnknownTable** object = NULL;
    void* same = NULL;
    return QXRegistrySetFolder(registry) >= 0 &&
           QXComCreateObjectByProgID(u"Orbelle.Transport.TCP", NULL, &UnknownId, (void**)&object) >=
               0 &&
           (*object)->QueryInterface(object, &UnknownId, &same) >= 0 && same == (void*)object &&
           (*object)->AddRef(object) == 3 && (*object)->Release(object) == 2 &&
           (*object)->Release(object) == 1 && (*object)->Release(object) == 0 &&
           QXComFreeUnusedModules(0, NULL) >= 0;
}

int main(int argc, char** argv) {
    if (QXThreadCurrentId() == 0 || QXToUpperW(0xE9) != 0xC9 ||
        (argc > 2 && !useComponent(argv[1]))) {
        fprintf(stderr, "the installed library does not answer\n");
        return 1;
    }
    return 0;
}
