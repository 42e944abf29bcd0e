#include "qx/platform/posix/Forks.h"

#include <atomic>
#include <cstddef>
#include <iterator>
#include <mutex>
#include <pthread.h>

namespace qx::platform {

namespace {

/// In the order in which their locks are acquired where several are held, so that the forking
/// thread cannot wait for one whose holder waits for another that it has already. They are let go
/// in the opposite order. States of upper layers come before these, and the loader before all: its
/// lock is held while libraries start and end, which may enter the list.
constexpr const ForkSteps* OwnStates[] = {
    &ComponentForkSteps, &RegistryForkSteps, &ModuleForkSteps,   &SharedObjectForkSteps,
    &ChildForkSteps,     &ReaperForkSteps,   &ConsoleForkSteps,  &DriveForkSteps,
    &MountForkSteps,     &TimeTextForkSteps, &CLibraryForkSteps, &ThreadNumberForkSteps,
    &LeavingForkSteps,   &WaiterForkSteps,
};

constinit std::mutex s_lock; // of the list, held from before a fork until after it
constinit ForkNode* s_first = nullptr;
constinit ForkNode* s_last = nullptr;

/// What comes before the list and its lock. A loader at work keeps forks waiting, so none happens
/// while they enter.
constinit ForkNode* s_outermost = nullptr;
constinit ForkNode* s_outerLast = nullptr;

// Odd, so that it never becomes 0.
constinit std::atomic<uint32_t> s_epoch{1};

void beginEpoch() noexcept { s_epoch.fetch_add(2, std::memory_order_relaxed); }

void take(void (*step)(void*) noexcept, void* state) noexcept {
    if (step != nullptr)
        step(state);
}

void beforeFork() noexcept {
    take(LoaderForkSteps.before, nullptr);
    for (const ForkNode* node = s_outermost; node != nullptr; node = node->next)
        take(node->steps->before, node->state);
    s_lock.lock();
    for (const ForkNode* node = s_first; node != nullptr; node = node->next)
        take(node->steps->before, node->state);
    for (const ForkSteps* const each : OwnStates)
        take(each->before, nullptr);
    beginEpoch(); // when all locks are held: what is opened under one of them is older or newer
}

template <auto Step>
void afterFork() noexcept {
    beginEpoch();
    for (size_t i = std::size(OwnStates); i-- > 0;)
        take(OwnStates[i]->*Step, nullptr);
    for (const ForkNode* node = s_last; node != nullptr; node = node->previous)
        take(node->steps->*Step, node->state);
    s_lock.unlock();
    for (const ForkNode* node = s_outerLast; node != nullptr; node = node->previous)
        take(node->steps->*Step, node->state);
    take(LoaderForkSteps.*Step, nullptr);
}

void enter(ForkNode& node, ForkNode*& first, ForkNode*& last) noexcept {
    node.previous = nullptr;
    node.next = first;
    (first != nullptr ? first->previous : last) = &node;
    first = &node;
}

/// Once for the library, which the system forgets when it is unloaded.
[[gnu::constructor]] void watchForks() {
    ::pthread_atfork(&beforeFork, &afterFork<&ForkSteps::inParent>,
                     &afterFork<&ForkSteps::inChild>);
}

} // namespace

uint32_t forkEpoch() noexcept { return s_epoch.load(std::memory_order_relaxed); }

void enterForks(ForkNode& node) noexcept {
    const std::lock_guard guard(s_lock);
    enter(node, s_first, s_last);
}

void enterForksFirst(ForkNode& node) noexcept { enter(node, s_outermost, s_outerLast); }

void leaveForks(ForkNode& node) noexcept {
    const std::lock_guard guard(s_lock);
    (node.previous != nullptr ? node.previous->next : s_first) = node.next;
    (node.next != nullptr ? node.next->previous : s_last) = node.previous;
}

} // namespace qx::platform
