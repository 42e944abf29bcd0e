/* A component module in C: counters, and nothing but function tables. */

#include "plain.h"

#include <stdlib.h>
#include <string.h>

#include <qx/platform/result.h>

QX_COMPONENT_NOTE;

/* A counter, or the one factory, whose references count as uses of the module. */
typedef struct Object {
    const void* table;
    const QXGUID* interfaceId;
    uint32_t references;
    int32_t value;
} Object;

static uint32_t s_uses = 0; /* counters and locks */

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

static uint32_t counterRelease(void* self) {
    const uint32_t left = factoryRelease(self);
    if (left == 0) {
        free(self);
        add(&s_uses, -1);
    }
    return left;
}

static int32_t counterAdd(void* self, int32_t amount, int32_t* sum) {
    *sum = ((Object*)self)->value += amount;
    return QX_OK;
}

static const PlainCounterTable s_counterTable = {{queryInterface, addRef, counterRelease},
                                                 counterAdd};

static int32_t factoryCreateInstance(void* self, void* outer, const QXGUID* interfaceId,
                                     void** object) {
    const Object made = {&s_counterTable, &PlainCounterId, 1, 0};
    Object* const counter = outer ? NULL : malloc(sizeof *counter);
    int32_t result;
    (void)self;
    *object = NULL;
    if (!counter)
        return outer ? QX_E_NO_AGGREGATION : QX_E_OUT_OF_MEMORY;
    *counter = made;
    add(&s_uses, 1);
    result = queryInterface(counter, interfaceId, object);
    counterRelease(counter);
    return result;
}

static int32_t factoryLockServer(void* self, int16_t lock) {
    (void)self;
    add(&s_uses, lock ? 1 : -1);
    return QX_OK;
}

static const QXClassFactoryTable s_factoryTable = {
    {queryInterface, addRef, factoryRelease}, factoryCreateInstance, factoryLockServer};
static Object s_factory = {&s_factoryTable, &PlainFactoryId, 0, 0};

int32_t DllGetClassObject(const QXGUID* classId, const QXGUID* interfaceId, void** object) {
    *object = NULL;
    return memcmp(classId, &PlainCounterClass, sizeof *classId) == 0
               ? queryInterface(&s_factory, interfaceId, object)
               : QX_E_CLASS_NOT_AVAILABLE;
}

int32_t DllCanUnloadNow(void) { return add(&s_uses, 0) + add(&s_factory.references, 0) != 0; }
