#include <stdio.h>

#include <qx/platform/native.h>
#include <qx/platform/result.h>

int main(void) {
    if (QXResultFromNative() >= QX_OK) {
        fprintf(stderr, "the installed library does not answer\n");
        return 1;
    }
    return 0;
}
