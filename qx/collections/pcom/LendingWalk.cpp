#include "qx/collections/pcom/LendingWalk.h"

#include <array>
#include <cstddef>

#include <qx/collections/pcom/detail/HashMapIterator.h>
#include <qx/collections/pcom/detail/ListViews.h>
#include <qx/core/ObjectBehind.h>

namespace qx::collections::pcom {

namespace {

/// What tells a class of iterators, and where its walk lies.
struct Class {
    const void* table;
    std::ptrdiff_t displacement;
};

template <class Own>
Class classOf(Own own) {
    ConstIterator* const iterator = &own;
    LendingWalk* const walk = &own;
    return {qx::detail::functionTableOf(iterator),
            reinterpret_cast<char*>(walk) - reinterpret_cast<char*>(iterator)};
}

} // namespace

LendingWalk* LendingWalk::of(ConstIterator* iterator) {
    static const std::array classes = [] {
        HashMap map(1, 1.0F);
        ArrayList array;
        LinkedList linked;
        return std::array{classOf(HashMapIterator(&map)),
                          classOf(OwnListIterator<ArrayList>(&array, 0)),
                          classOf(OwnListIterator<LinkedList>(&linked, 0))};
    }();
    const void* const table = qx::detail::functionTableOf(iterator);
    for (const Class& own : classes) {
        if (own.table == table)
            return reinterpret_cast<LendingWalk*>(reinterpret_cast<char*>(iterator) +
                                                  own.displacement);
    }
    return nullptr;
}

} // namespace qx::collections::pcom
