#include "tests/pcom/strangers.h"

#include <string.h>

#include <qx/platform/result.h>

typedef struct Functions {
    int32_t (*QueryInterface)(Stranger* self, const QXGUID* iid, void** out);
    uint32_t (*AddRef)(Stranger* self);
    uint32_t (*Release)(Stranger* self);
    intptr_t (*first)(void);
    intptr_t (*further[20])(void);
} Functions;
typedef struct Table {
    const void* before[2]; /* where C++ has the description of the type */
    Functions functions;
} Table;

#ifdef __SANITIZE_ADDRESS__
/* The check of types reads it before each call, and lets this one pass (strangers.supp). */
extern const char _ZTI7MadeInC[];
#define DESCRIPTION                                                                                \
    { NULL, _ZTI7MadeInC }
#else /* whoever asks for the type falls */
#define DESCRIPTION                                                                                \
    { (void*)-1, (void*)1 }
#endif

static uint32_t addReference(Stranger* self) { return (uint32_t)++self->references; }
static uint32_t dropReference(Stranger* self) { return (uint32_t)--self->references; }

static int32_t sayYes(Stranger* self, const QXGUID* iid, void** out) {
    (void)iid;
    addReference(self);
    *out = self;
    return QX_OK;
}

static int32_t answerNothing(Stranger* self, const QXGUID* iid, void** out) {
    static const QXGUID unknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    if (memcmp(iid, &unknown, sizeof(unknown)) == 0)
        return sayYes(self, iid, out);
    *out = NULL;
    return QX_E_NO_INTERFACE;
}

static int32_t failQuery(Stranger* self, const QXGUID* iid, void** out) {
    (void)self;
    (void)iid;
    *out = (void*)1;
    return StrangerFailure;
}

static int32_t passOn(Stranger* self, const QXGUID* iid, void** out) {
    const Functions* const* behind = self->behind;
    return (*behind)->QueryInterface((Stranger*)self->behind, iid, out);
}

static intptr_t succeed(void) { return StrangerSuccess; }
static intptr_t doNothing(void) { return 0; }

#define NOTHING doNothing, doNothing, doNothing, doNothing, doNothing
#define FUNCTIONS(query)                                                                           \
    {                                                                                              \
        query, addReference, dropReference, succeed, { NOTHING, NOTHING, NOTHING, NOTHING }        \
    }
#define TABLE(query)                                                                               \
    { DESCRIPTION, FUNCTIONS(query) }

Stranger strangerOf(StrangerKind kind, void* behind) {
    static const Table tables[] = {TABLE(answerNothing), TABLE(sayYes), TABLE(failQuery),
                                   TABLE(passOn)};
    const Stranger stranger = {&tables[kind].functions, behind, 1};
    return stranger;
}
