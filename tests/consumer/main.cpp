#include <iostream>

#include <qx/platform/native.h>
#include <qx/platform/result.h>

int main() {
    if (QXThreadCurrentId() == 0 || QXResultFromNative() >= qx::result::Ok) {
        std::cerr << "the installed library does not answer\n";
        return 1;
    }
}
