/* A component module in C: counters, and nothing but function tables. */

#include "plain.h"

#include <stdlib.h>
#include <string.h>

#include <qx/platform/module.h>
#include <qx/platform/registry.h>
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

#ifndef PLAIN_ALONE
#define CLASS_KEY u"CLSID\\" PLAIN_COUNTER_CLASS

int32_t DllRegisterServer(void) {
    static const char16_t classId[] = PLAIN_COUNTER_CLASS;
    static const char16_t description[] = u"A counter in C";
    char path[1024];
    char16_t widePath[1024];
    size_t i;
    QXRegistryChange changes[] = {
        {QX_REG_SET_VALUE, QX_REG_STRING, PLAIN_COUNTER_NAME, u"", description, sizeof description},
        {QX_REG_SET_VALUE, QX_REG_STRING, PLAIN_COUNTER_NAME u"\\CLSID", u"", classId,
         sizeof classId},
        {QX_REG_SET_VALUE, QX_REG_STRING, CLASS_KEY, u"", description, sizeof description},
        {QX_REG_SET_VALUE, QX_REG_STRING, CLASS_KEY u"\\InprocServer32", u"", widePath, 0},
    };
    const int32_t result = QXModuleGetFileName(&s_factory, path, (int32_t)sizeof path);
    if (result < 0)
        return result;
    for (i = 0; i <= strlen(path); ++i)
        widePath[i] = (unsigned char)path[i];
    changes[3].length = (int32_t)(i * sizeof *widePath);
    return QXRegistryApply(QX_HKEY_CLASSES_64, changes, 4);
}

int32_t DllUnregisterServer(void) {
    const int32_t result = QXRegistryDeleteKey(QX_HKEY_CLASSES_64, CLASS_KEY);
    return result < 0 ? result : QXRegistryDeleteKey(QX_HKEY_CLASSES_64, PLAIN_COUNTER_NAME);
}
#endif
