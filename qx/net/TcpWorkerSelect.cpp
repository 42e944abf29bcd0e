#include "qx/net/TcpWorkerSocket2.h"

#include <qx/net/detail/SocketSet.h>

namespace qx::net {

namespace {

/// One of the three arrays of a select with the set that the platform layer looks at.
struct Watched {
    TcpWorkerSocket2** sockets;
    uint32_t* count; // the caller's
    uint32_t given = 0;
    uint64_t ready = 0; // a bit for each entry
    qx_socket_set set{};

    qx_socket_set* platformSet() { return sockets != nullptr ? &set : nullptr; }

    /// False when a socket is closed or missing.
    bool fill() {
        set.count = 0;
        for (uint32_t i = 0; sockets != nullptr && i < given; ++i) {
            const uint64_t id = sockets[i] != nullptr ? sockets[i]->getId() : 0;
            if (id == 0)
                return false;
            addToSet(set, id);
        }
        return true;
    }

    bool isReady(uint32_t i) const { return (ready >> i & 1) != 0; }

    /// Finds out which entries are ready, and counts them.
    void findReady() {
        for (uint32_t i = 0; sockets != nullptr && i < given; ++i) {
            if (isInSet(set, sockets[i]->getId())) {
                ready |= uint64_t{1} << i;
                ++*count;
            }
        }
    }

    /// Takes the entries that are not ready out of the array.
    void keepReady() {
        for (uint32_t i = 0; sockets != nullptr && i < given; ++i) {
            if (!isReady(i))
                sockets[i] = nullptr;
        }
    }
};

} // namespace

ENUM_QX_E_SOCKET TcpWorkerSocket2::select(TcpWorkerSocket2** readSockets, uint32_t* readCount,
                                          TcpWorkerSocket2** writeSockets, uint32_t* writeCount,
                                          TcpWorkerSocket2** exceptionSockets,
                                          uint32_t* exceptionCount, const qx_timeval* timeout,
                                          int32_t* result) {
    if (readCount == nullptr || writeCount == nullptr || exceptionCount == nullptr ||
        result == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (const ENUM_QX_E_SOCKET code = init())
        return code;
    Watched all[] = {
        {readSockets, readCount}, {writeSockets, writeCount}, {exceptionSockets, exceptionCount}};
    bool tooMany = false;
    for (Watched& watched : all) {
        watched.given = *watched.count;
        tooMany = tooMany || watched.given >= QX_SOCKET_SET_SIZE;
    }
    for (Watched& watched : all)
        *watched.count = 0;
    *result = 0;
    if (tooMany)
        return QX_E_SOCKET_EMFILE;
    for (Watched& watched : all) {
        if (!watched.fill())
            return QX_E_SOCKET_ENOTSOCK;
    }
    *result =
        QXSocketSelect(all[0].platformSet(), all[1].platformSet(), all[2].platformSet(), timeout);
    if (*result == QX_SOCKET_ERROR)
        return lastCode();
    if (*result == 0)
        return 0;
    for (Watched& watched : all)
        watched.findReady();
    ENUM_QX_E_SOCKET code = 0;
    for (uint32_t i = 0; exceptionSockets != nullptr && i < all[2].given; ++i) {
        if (all[2].isReady(i))
            code = takePendingError(exceptionSockets[i]->getId());
    }
    // Only now: one array may stand for several.
    for (Watched& watched : all)
        watched.keepReady();
    return code;
}

} // namespace qx::net
