// What qx/platform/shared.h tells of named objects to whoever looks on.

#include "tests/ipc/Party.h"

using namespace qx;
using namespace qxtest;

namespace {

/// What is told of one object, summed up over its users.
struct Told {
    const std::string name;
    uint32_t kind = 0, users = 0, held = 0, writers = 0, waiting = 0, strangers = 0;
    int64_t value = 0;

    static int32_t note(const QXSharedObject* object, void* context) {
        Told& told = *static_cast<Told*>(context);
        if (object->name != told.name)
            return result::Ok;
        told.kind = object->kind;
        told.value = object->value;
        for (; told.users < object->userCount; ++told.users) {
            const QXSharedUser& user = object->users[told.users];
            told.held += user.held;
            told.writers += static_cast<uint32_t>(user.isWriter);
            told.waiting += user.waiting;
            told.strangers += !user.isAlive || user.processId <= 0 || *user.command == '\0';
        }
        return result::Fail; // ends the walk
    }
};

} // namespace

TEST(Listing, TellsKindValueHoldersAndWaiters) {
    using Number = uint32_t;
    const std::tuple<const ObjectKind&, Number, int64_t, Number, Number, Number> rows[] = {
        // with its number; the value; how many hold it, write and wait
        {Mutexes, QX_SHARED_KIND_MUTEX, 1, 1, 0, 1},
        {Conditions, QX_SHARED_KIND_CONDITION, 1, 1, 0, 1},
        {RWLocks, QX_SHARED_KIND_RWLOCK, -1, 0, 1, 1},
        {Guards, QX_SHARED_KIND_SEMAPHORE, 0, 1, 0, 1},
        {Signals, QX_SHARED_KIND_SIGNAL, 0, 0, 0, 2},
        {Events, QX_SHARED_KIND_EVENT, 0, 0, 0, 2},
        {Gates, QX_SHARED_KIND_GATE, 0, 0, 0, 2},
    };
    for (const auto& [kind, number, value, held, writers, waiting] : rows) {
        SCOPED_TRACE(kind.name);
        const MadeObject object(kind);
        Party first(Way::BetweenProcesses, object), second(Way::BetweenProcesses, object);
        for (Party* const each : {&first, &second}) {
            each->start(kind.hold);
            each->awaitBlocked();
        }
        Told told{object.name};
        EXPECT_EQ(QXSharedObjectsVisit(Told::note, &told), result::Fail) << "the visitor's";
        EXPECT_EQ(std::tuple(told.kind, told.value, told.held, told.writers, told.waiting),
                  std::tuple(number, value, held, writers, waiting));
        EXPECT_EQ(std::pair(told.users, told.strangers), std::pair(3u, 0u));
        for (Party* const each : {&first, &second})
            each->kill();
    }
}
