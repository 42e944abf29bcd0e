#pragma once

#include <cstdint>

#include <qx/collections/StringHashMap.h>

namespace qx::log::detail {

/// The order in which a set of the keys of a map shows few fields: by bucket, and in a bucket by
/// the time of putting in, both downwards. An insertion sort.
/// @param hashOf  (number) of a name, in the order in which the fields were put in
/// @param order   receives the numbers of the fields
template <class HashOf>
constexpr void putInOrder(uint32_t count, HashOf&& hashOf, uint8_t* order) {
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t bucket = hashOf(i) % collections::StringHashMap::DEFAULT_CAPACITY;
        uint32_t place = i;
        for (; place > 0; --place) {
            const uint8_t before = order[place - 1];
            if (hashOf(before) % collections::StringHashMap::DEFAULT_CAPACITY > bucket)
                break;
            order[place] = before;
        }
        order[place] = static_cast<uint8_t>(i);
    }
}

} // namespace qx::log::detail
