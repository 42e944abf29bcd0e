#pragma once

/* The counters of the module plain. */

#include <qx/platform/component.h>

#define PLAIN_ID static const QXGUID __attribute__((unused))

PLAIN_ID PlainUnknownId = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
PLAIN_ID PlainFactoryId = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
PLAIN_ID PlainCounterId = {0x706C6169, 0x6E00, 0x4332, {0x80, 0, 0, 0, 0, 0, 0, 1}};
PLAIN_ID PlainCounterClass = {0x706C6169, 0x6E00, 0x4331, {0x80, 0, 0, 0, 0, 0, 0, 1}};

#define PLAIN_COUNTER_CLASS u"{706C6169-6E00-4331-8000-000000000001}"
#define PLAIN_COUNTER_NAME u"Test.PlainCounter"

/* A counter is a pointer to a pointer to this table. */
typedef struct PlainCounterTable {
    QXUnknownTable unknown;
    int32_t (*Add)(void* self, int32_t amount, int32_t* sum);
} PlainCounterTable;
