#include "qx/core/detail/Subsystem.h"

#include <qx/collections/Comparator.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/collections/pcom/List.h>
#include <qx/collections/pcom/Map.h>

namespace qx::collections {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    creatable<pcom::ArrayList>(u"CQXArrayList"),
    known<pcom::Collection>(u"CQXCollection"),
    known<util::Comparator>(u"CQXComparator"),
    known<pcom::ConstIterator>(u"CQXConstIterator"),
    known<pcom::ConstListIterator>(u"CQXConstListIterator"),
    creatable<pcom::HashMap>(u"CQXHashMap"),
    known<pcom::Iterator>(u"CQXIterator"),
    creatable<pcom::LinkedList>(u"CQXLinkedList"),
    known<pcom::List>(u"CQXList"),
    known<pcom::ListIterator>(u"CQXListIterator"),
    known<pcom::Map>(u"CQXMap"),
    known<pcom::Set>(u"CQXSet"),
};
// clang-format on

void unload() noexcept { releaseDefaultComparator(); }

} // namespace

constinit const Subsystem subsystem{.classes = Classes, .unload = &unload};

} // namespace qx::collections
