#include <cstdint>
#include <cstdlib>

#include "tests/support/KeyedMapPlay.h"

namespace {

template <class Play>
void play(std::span<const uint8_t> bytes, uint8_t shape) {
    static constexpr float loads[] = {0.1f, 0.75f, 1.5f, 6.0f, 60.0f};
    Play(1 + shape % 16, loads[shape / 16 % std::size(loads)]).play(bytes);
}

} // namespace

// The first byte chooses the kind of key, the second the table, the others are what is done with
// it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const std::span<const uint8_t> bytes(data + 2, size - 2);
    if (data[0] % 2)
        play<qxtest::IntegerMapPlay>(bytes, data[1]);
    else
        play<qxtest::StringMapPlay>(bytes, data[1]);
    if (qxtest::Item::alive() != 0)
        std::abort();
    return 0;
}
