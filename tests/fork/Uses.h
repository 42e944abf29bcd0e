#pragma once

#include <ostream>

#include <unistd.h>

#include <qx/qx.h>

#include "tests/support/Require.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"

namespace qxtest {

/// What threads use together, and parent and child have from before a fork.
struct Inherited {
    Inherited();
    ~Inherited();

    const TemporaryFolder folder;
    const TemporaryRegistry registry;
    const std::string name = "fork test " + std::to_string(getpid());
    QXHandle semaphore = 0;
    qx::sync::Mutex mutex{(name + " mutex").c_str(), QX_SYNC_SHARED};
    qx::Reference<qx::log::AsyncProcessor> processor;
    qx::Reference<qx::log::Logger> queued = qx::log::Logger::create(u"queued");
    qx::Reference<qx::log::SyncLogger> logger;
    qx::sync::Gate gate;
    qx::Reference<qx::exec::Thread> thread = new qx::exec::Thread([this] { gate.wait(); });
    qx::Reference<qx::collections::StringHashMap> texts =
        qx::makeReference<qx::collections::StringHashMap>();
};

/// Something that any number of threads may do at once, and a forked child while they do.
struct Use {
    const char* name;
    void (*inParent)(Inherited&);
    void (*inChild)(Inherited&);
    bool startsThreads = false; // in the child
};

std::span<const Use> allUses();

/// Names a test of these uses.
inline void PrintTo(std::span<const Use> uses, std::ostream* out) {
    *out << (uses.size() == 1 ? uses[0].name : "All");
}

} // namespace qxtest
