#pragma once

namespace qx::platform {

/// What becomes of a state of this process when one of its threads calls fork. The child has that
/// thread alone: it must find the state whole, and no lock held and nothing awaited that only
/// another thread could let go or bring about.
///
/// The state, and whatever stands for it in the list, is static or on the heap: in the child the
/// stacks of the other threads are soon used for something else.
///
/// All three run on the forking thread, the last two in the opposite order of the first. A step
/// waits for no other process and for no code that is not ours, and changes nothing that the thread
/// that forks may be in the middle of. Null for nothing to do.
struct ForkSteps {
    /// Keeps other threads out until one of the others has run.
    void (*before)(void* state) noexcept = nullptr;
    void (*inParent)(void* state) noexcept = nullptr;
    void (*inChild)(void* state) noexcept = nullptr;
};

inline void leaveAsItIs() noexcept {}

/// The steps of a state that one lock guards. A child takes it over as it is, or as @p InChild
/// leaves it, which runs with the lock held.
template <auto& Lock, void (*InChild)() noexcept = leaveAsItIs>
inline constexpr ForkSteps HeldInFork{[](void*) noexcept { Lock.lock(); },
                                      [](void*) noexcept { Lock.unlock(); },
                                      [](void*) noexcept {
                                          InChild();
                                          Lock.unlock();
                                      }};

/// The steps of a lock that may not be there, behind a pointer or an optional: held over the fork.
template <auto& Lock>
inline constexpr ForkSteps HeldIfThere{[](void*) noexcept {
                                           if (Lock)
                                               Lock->lock();
                                       },
                                       [](void*) noexcept {
                                           if (Lock)
                                               Lock->unlock();
                                       },
                                       [](void*) noexcept {
                                           if (Lock)
                                               Lock->unlock();
                                       }};

/// A state above this layer in the list of those that take part in forks. Plain memory: one that
/// stands outside of every function may enter before and leave after every static object.
struct ForkNode {
    const ForkSteps* steps;
    void* state = nullptr;
    ForkNode* previous = nullptr;
    ForkNode* next = nullptr;
};

/// From now on the state takes part. Its first step comes before those of states that entered
/// earlier and before those of this layer, as does its lock where a thread holds several. Not to be
/// called with a lock held that is taken in one of the steps.
void enterForks(ForkNode& node) noexcept;
/// The same for a static state whose lock is held while others enter and leave: it comes before
/// them all, and stays. To be called while the library starts.
void enterForksFirst(ForkNode& node) noexcept;
/// Until now it did.
void leaveForks(ForkNode& node) noexcept;

/// Lets an object take part as long as it lives. As a member it comes last: it begins when the
/// others are there and ends while they still are.
class ForkWatch {
public:
    ForkWatch(void* state, const ForkSteps& steps) noexcept : m_node{&steps, state} {
        enterForks(m_node);
    }
    ~ForkWatch() { leaveForks(m_node); }
    ForkWatch(const ForkWatch&) = delete;
    ForkWatch& operator=(const ForkWatch&) = delete;

private:
    ForkNode m_node;
};

} // namespace qx::platform
