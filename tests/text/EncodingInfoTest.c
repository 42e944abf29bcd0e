/* The encoding functions, called from C. */

#include "tests/text/EncodingInfoTest.h"

#include <stdlib.h>

#include <qx/platform/result.h>
#include <qx/text/charset/encinfo.h>

int enumerateInC(char* names, size_t capacity) {
    uint32_t count = 0;
    if (QXEnumerateEncInfo(&count, NULL) != QX_E_BUFFER_TOO_SMALL)
        return -1;
    QXEncodingInfo* const records = calloc(count, sizeof *records);
    if (records == NULL || QXEnumerateEncInfo(&count, records) != QX_OK) {
        free(records);
        return -1;
    }
    size_t length = 0;
    for (uint32_t i = 0; i < count; ++i) {
        for (const char16_t* unit = records[i].name; *unit != 0 && length + 2 < capacity; ++unit)
            names[length++] = (char)*unit;
        names[length++] = ' ';
    }
    names[length] = '\0';
    free(records);
    return (int)count;
}

size_t recordSizeInC(void) { return sizeof(QXEncodingInfo); }
