#include <cstdint>

#include "tests/support/BitPlay.h"

// The first byte chooses between writing and reading, the others are what is done.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    if (data[0] % 2)
        qxtest::BitWritePlay().play({data + 1, size - 1});
    else
        qxtest::BitReadPlay().play({data + 1, size - 1});
    return 0;
}
