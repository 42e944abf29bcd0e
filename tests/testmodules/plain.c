/* A component module in C: counters, and nothing but function tables. */

#include "plain.h"

#include <stdlib.h>
#include <string.h>

#include <qx/platform/result.h>

QX_COMPONENT_NOTE;

typedef struct CounterObject {
    const PlainCounterTable* table;
    uint32_t references;
    int32_t value;
} CounterObject;

static uint32_t s_live = 0;

static int isEqual(const QXGUID* left, const QXGUID* right) {
    return memcmp(left, right, sizeof *left) == 0;
}

static int32_t counterQueryInterface(void* self, const QXGUID* interfaceId, void** object) {
    CounterObject* const counter = self;
    if (!isEqual(interfaceId, &PlainUnknownId) && !isEqual(interfaceId, &PlainCounterId)) {
        *object = NULL;
        return QX_E_NO_INTERFACE;
    }
    __atomic_add_fetch(&counter->references, 1, __ATOMIC_SEQ_CST);
    *object = self;
    return QX_OK;
}

static uint32_t counterAddRef(void* self) {
    return __atomic_add_fetch(&((CounterObject*)self)->references, 1, __ATOMIC_SEQ_CST);
}

static uint32_t counterRelease(void* self) {
    const uint32_t left =
        __atomic_sub_fetch(&((CounterObject*)self)->references, 1, __ATOMIC_SEQ_CST);
    if (left == 0) {
        free(self);
        __atomic_sub_fetch(&s_live, 1, __ATOMIC_SEQ_CST);
    }
    return left;
}

static int32_t counterAdd(void* self, int32_t amount, int32_t* sum) {
    *sum = ((CounterObject*)self)->value += amount;
    return QX_OK;
}

static const PlainCounterTable s_counterTable = {
    {counterQueryInterface, counterAddRef, counterRelease}, counterAdd};

/* The one factory is no object of its own: its references count as uses of the module. */

static int32_t factoryQueryInterface(void* self, const QXGUID* interfaceId, void** object) {
    if (!isEqual(interfaceId, &PlainUnknownId) && !isEqual(interfaceId, &PlainFactoryId)) {
        *object = NULL;
        return QX_E_NO_INTERFACE;
    }
    __atomic_add_fetch(&s_live, 1, __ATOMIC_SEQ_CST);
    *object = self;
    return QX_OK;
}

static uint32_t factoryAddRef(void* self) {
    (void)self;
    return __atomic_add_fetch(&s_live, 1, __ATOMIC_SEQ_CST);
}

static uint32_t factoryRelease(void* self) {
    (void)self;
    return __atomic_sub_fetch(&s_live, 1, __ATOMIC_SEQ_CST);
}

static int32_t factoryCreateInstance(void* self, void* outer, const QXGUID* interfaceId,
                                     void** object) {
    CounterObject* counter;
    int32_t result;
    (void)self;
    *object = NULL;
    if (outer)
        return QX_E_NO_AGGREGATION;
    counter = malloc(sizeof *counter);
    if (!counter)
        return QX_E_OUT_OF_MEMORY;
    counter->table = &s_counterTable;
    counter->references = 1;
    counter->value = 0;
    __atomic_add_fetch(&s_live, 1, __ATOMIC_SEQ_CST);
    result = counterQueryInterface(counter, interfaceId, object);
    counterRelease(counter);
    return result;
}

static int32_t factoryLockServer(void* self, int16_t lock) {
    (void)self;
    __atomic_add_fetch(&s_live, lock ? 1 : (uint32_t)-1, __ATOMIC_SEQ_CST);
    return QX_OK;
}

static const QXClassFactoryTable s_factoryTable = {
    {factoryQueryInterface, factoryAddRef, factoryRelease},
    factoryCreateInstance,
    factoryLockServer};
static const QXClassFactoryTable* s_factory = &s_factoryTable;

int32_t DllGetClassObject(const QXGUID* classId, const QXGUID* interfaceId, void** object) {
    *object = NULL;
    return isEqual(classId, &PlainCounterClass)
               ? factoryQueryInterface(&s_factory, interfaceId, object)
               : QX_E_CLASS_NOT_AVAILABLE;
}

int32_t DllCanUnloadNow(void) { return __atomic_load_n(&s_live, __ATOMIC_SEQ_CST) == 0 ? 0 : 1; }
