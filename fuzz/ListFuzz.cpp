#include <cstdint>
#include <cstdlib>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>

#include "tests/support/ListPlay.h"

// The first byte chooses the list, the others are what is done with it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    namespace pcom = qx::collections::pcom;
    if (size == 0)
        return 0;
    const auto list = data[0] % 2 ? qx::Reference<pcom::List>(new pcom::ArrayList())
                                  : qx::Reference<pcom::List>(new pcom::LinkedList());
    {
        qxtest::ListPlay play(list);
        play.play({data + 1, size - 1});
        list->clear();
    }
    if (qxtest::Item::alive() != 0)
        std::abort();
    return 0;
}
