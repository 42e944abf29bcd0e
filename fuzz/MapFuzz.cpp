#include <cstdint>
#include <cstdlib>

#include "tests/support/MapPlay.h"

// The first byte chooses the table, the others are what is done with it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::span<const uint8_t> bytes(data + 1, size - 1);
    qxtest::MapPlay(1 + data[0] % 16, static_cast<float>(1 + data[0] / 16) / 4).play(bytes);
    if (qxtest::Item::alive() != 0)
        std::abort();
    return 0;
}
