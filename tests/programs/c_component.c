/* Uses a component of the library's classes from C: registers its module, creates it by name and
 * calls it through its table of functions. Arguments: the module and an empty folder. */

#include <stdio.h>
#include <string.h>

#include <qx/platform/component.h>
#include <qx/platform/module.h>
#include <qx/platform/registry.h>
#include <qx/platform/result.h>

typedef struct ComparableTable {
    QXUnknownTable unknown;
    int32_t (*CompareTo)(void* self, const void* other, int* result);
    int32_t (*HashCode)(void* self, uint32_t* result);
} ComparableTable;

static const QXGUID ComparableId = {
    0x72038029, 0xFA65, 0x4255, {0xA9, 0x16, 0x1C, 0x56, 0x80, 0xAC, 0xFE, 0xBF}};
static const QXGUID UnknownId = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
static const QXGUID OtherId = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

static int failures = 0;

static void expect(int condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

static void useThing(const ComparableTable** thing) {
    const ComparableTable** unknown = NULL;
    void* out = &out;
    uint32_t hash = 0;
    int32_t kept = 0;
    int order = 5;
    expect((*thing)->HashCode(thing, &hash) == QX_OK && hash == 4711, "its hash");
    expect((*thing)->unknown.QueryInterface(thing, &UnknownId, (void**)&unknown) == QX_OK &&
               (*unknown)->unknown.QueryInterface(unknown, &UnknownId, &out) == QX_OK &&
               out == (void*)unknown,
           "the unknown interface is its identity");
    expect((*thing)->unknown.AddRef(thing) == 4, "every interface counts on the object");
    expect((*thing)->unknown.Release(thing) == 3 && (*unknown)->unknown.Release(unknown) == 2,
           "a release counts down");
    expect((*thing)->CompareTo(thing, unknown, &order) == QX_OK && order == 0, "equals itself");
    expect((*unknown)->unknown.QueryInterface(unknown, &OtherId, &out) == QX_E_NO_INTERFACE && !out,
           "an interface that it does not have");
    expect((*unknown)->unknown.Release(unknown) == 1, "still held");
    expect(QXComFreeUnusedModules(0, &kept) == QX_OK && kept == 1, "its module stays");
    expect((*thing)->unknown.Release(thing) == 0, "destroyed");
    expect(QXComFreeUnusedModules(0, &kept) == QX_OK && kept == 0, "its module goes");
}

int main(int argc, char** argv) {
    char16_t module[1024] = {0};
    const ComparableTable** thing = NULL;
    QXGUID classId;
    size_t i;
    if (argc != 3 || strlen(argv[1]) >= 1024)
        return 2;
    for (i = 0; argv[1][i]; ++i)
        module[i] = (unsigned char)argv[1][i];
    expect(QXRegistrySetFolder(argv[2]) == QX_OK, "a registry of its own");

    expect(QXComRegisterModule(module) == QX_OK, "registers");
    expect(QXComCreateObjectByProgID(u"Test.Thing", NULL, &ComparableId, (void**)&thing) == QX_OK,
           "created by name");
    if (thing)
        useThing(thing);

    expect(QXComClassIDFromProgID(u"Test.Thing.1", &classId) == QX_OK, "class identifier");
    expect(QXComUnregisterModule(module) == QX_OK, "unregisters");
    expect(QXComCreateObjectByProgID(u"Test.Thing", NULL, &ComparableId, (void**)&thing) ==
               QX_E_NOT_FOUND,
           "gone");
    return failures != 0;
}
