#include <stdio.h>

#include <qx/platform/native.h>
#include <qx/platform/text.h>

int main(void) {
    if (QXThreadCurrentId() == 0 || QXToUpperW(0xE9) != 0xC9) {
        fprintf(stderr, "the installed library does not answer\n");
        return 1;
    }
    return 0;
}
