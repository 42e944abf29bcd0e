/* A component module in C, of nothing but function tables. */

#include "plain.h"

#include <stdlib.h>
#include <string.h>

#include <qx/platform/result.h>

QX_COMPONENT_NOTE;

static const QXGUID FactoryId = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
static const QXGUID ThingClass = {0x706C6169, 0x6E00, 0x4331, {0x80, 0, 0, 0, 0, 0, 0, 1}};

/* A thing, or the one factory, whose references count as uses of the module. */
typedef struct Object {
    const void* table;
    const QXGUID* interfaceId; /* beside the unknown interface */
    uint32_t references;
} Object;

static uint32_t s_uses = 0; /* things and locks */

static uint32_t add(uint32_t* number, int amount) {
    return __atomic_add_fetch(number, (uint32_t)amount, __ATOMIC_SEQ_CST);
}

static uint32_t addRef(void* self) { return add(&((Object*)self)->references, 1); }

static int32_t queryInterface(void* self, const QXGUID* interfaceId, void** object) {
    *object = NULL;
    if (memcmp(interfaceId, &PlainUnknownId, sizeof *interfaceId) != 0 &&
        memcmp(interfaceId, ((Object*)self)->interfaceId, sizeof *interfaceId) != 0)
        return QX_E_NO_INTERFACE;
    addRef(self);
    *object = self;
    return QX_OK;
}

static uint32_t factoryRelease(void* self) { return add(&((Object*)self)->references, -1); }

static uint32_t thingRelease(void* self) {
    const uint32_t left = factoryRelease(self);
    if (left == 0) {
        free(self);
        add(&s_uses, -1);
    }
    return left;
}

static const QXUnknownTable s_thingTable = {queryInterface, addRef, thingRelease};

static int32_t factoryCreateInstance(void* self, void* outer, const QXGUID* interfaceId,
                                     void** object) {
    const Object made = {&s_thingTable, &PlainUnknownId, 1};
    Object* const thing = outer ? NULL : malloc(sizeof *thing);
    int32_t result;
    (void)self;
    *object = NULL;
    if (!thing)
        return outer ? QX_E_NO_AGGREGATION : QX_E_OUT_OF_MEMORY;
    *thing = made;
    add(&s_uses, 1);
    result = queryInterface(thing, interfaceId, object);
    thingRelease(thing);
    return result;
}

static int32_t factoryLockServer(void* self, int16_t lock) {
    (void)self;
    add(&s_uses, lock ? 1 : -1);
    return QX_OK;
}

static const QXClassFactoryTable s_factoryTable = {
    {queryInterface, addRef, factoryRelease}, factoryCreateInstance, factoryLockServer};
static Object s_factory = {&s_factoryTable, &FactoryId, 0};

int32_t DllGetClassObject(const QXGUID* classId, const QXGUID* interfaceId, void** object) {
    *object = NULL;
    return memcmp(classId, &ThingClass, sizeof *classId) == 0
               ? queryInterface(&s_factory, interfaceId, object)
               : QX_E_CLASS_NOT_AVAILABLE;
}

int32_t DllCanUnloadNow(void) { return add(&s_uses, 0) + add(&s_factory.references, 0) != 0; }
