/* Uses an object of the library from C, through its table of functions and nothing else. */

#include <stdio.h>
#include <string.h>

#include <qx/platform/result.h>
#include <qx/platform/types.h>

typedef struct Comparable Comparable;
typedef struct ComparableTable {
    int32_t (*QueryInterface)(Comparable* self, const QXGUID* iid, void** out);
    uint32_t (*AddRef)(Comparable* self);
    uint32_t (*Release)(Comparable* self);
    int32_t (*CompareTo)(Comparable* self, const void* other, int* result);
    int32_t (*HashCode)(Comparable* self, uint32_t* result);
} ComparableTable;
struct Comparable {
    const ComparableTable* table;
};

/* The object to use (c_object_factory.cpp), with one reference for the caller, and how many of its
 * kind are alive. */
Comparable* createUnknown(uint32_t hash);
int livingObjects(void);

static const QXGUID UnknownIid = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
static const QXGUID ComparableIid = {
    0x72038029, 0xFA65, 0x4255, {0xA9, 0x16, 0x1C, 0x56, 0x80, 0xAC, 0xFE, 0xBF}};
static const QXGUID OtherIid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

static int failures = 0;

static void expect(int condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

static void useObject(void) {
    Comparable* unknown = createUnknown(4711);
    Comparable* comparable = NULL;
    void* out = &out;
    uint32_t hash = 0;
    int order = 5;

    expect(unknown->table->QueryInterface(unknown, &ComparableIid, (void**)&comparable) == QX_OK,
           "the object is comparable");
    expect(comparable->table->AddRef(comparable) == 3, "a second interface counts on the object");
    expect(comparable->table->Release(comparable) == 2, "a release counts down");
    expect(comparable->table->HashCode(comparable, &hash) == QX_OK && hash == 4711, "hash code");
    expect(comparable->table->CompareTo(comparable, unknown, &order) == QX_OK && order == 0,
           "the object equals itself");

    expect(comparable->table->QueryInterface(comparable, &UnknownIid, &out) == QX_OK &&
               out == (void*)unknown,
           "the unknown interface is the object's identity");
    unknown->table->Release(unknown);
    expect(unknown->table->QueryInterface(unknown, &OtherIid, &out) == QX_E_NO_INTERFACE && !out,
           "an interface that it does not have");

    expect(unknown->table->Release(unknown) == 1 && livingObjects() == 1, "still held");
    expect(comparable->table->Release(comparable) == 0 && livingObjects() == 0, "destroyed");
}

int main(void) {
    useObject();
    return failures != 0;
}
