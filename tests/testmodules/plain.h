#pragma once

/* The things of the module plain, which have the unknown interface only. */

#include <qx/platform/component.h>

static const QXGUID PlainUnknownId = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

#define PLAIN_CLASS u"{706C6169-6E00-4331-8000-000000000001}"
#define PLAIN_NAME u"Test.Plain"
