#pragma once

/* Objects that another program has made, in C, with a table of functions and nothing in front of
 * it that describes a type. */

#include <stdint.h>

#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum StrangerKind {
    StrangerAnswersNothing, /* but the unknown interface */
    StrangerSaysYes,        /* hands out itself as whatever it is asked for */
    StrangerFails,          /* denies every query, and leaves something behind */
    StrangerStandsInFront   /* passes every query on to what it stands in front of */
} StrangerKind;

enum { StrangerFailure = (int32_t)0x80070005u, StrangerSuccess = 5 };

/* An interface pointer is the address of a stranger. Behind the unknown interface its table goes
 * on with functions that do nothing: the first of them answers StrangerSuccess, the others 0. */
typedef struct Stranger {
    const void* table;
    void* behind; /* an IQXUnknown; not counted */
    int64_t references;
} Stranger;

/* @p behind is for StrangerStandsInFront. The caller's reference is the first. */
Stranger strangerOf(StrangerKind kind, void* behind);

#ifdef __cplusplus
}
#endif
