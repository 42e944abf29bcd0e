// A child forked from a program with threads uses, makes and drops one of everything, while the
// other threads of its parent are in the middle of the same.

#include <atomic>
#include <cerrno>
#include <functional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/fork/Uses.h"
#include "tests/support/Sanitized.h"

/// The thread sanitizer refuses threads in the child otherwise.
extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; }

namespace {

using namespace qxtest;

/// Status of a forked child that runs @p body; a hanging one ends by SIGALRM.
int statusOfChild(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        try {
            body();
        } catch (const std::exception& exception) {
            // Not through streams, whose locks may be held.
            const std::string text = std::string("in the child: ") + exception.what() + "\n";
            [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
            _exit(1);
        }
        _exit(0);
    }
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

/// The address sanitizer of this compiler leaves the locks of its memory held in a child, so that a
/// program of malloc, free and fork alone hangs.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool ChildHasMemory = false;
#else
constexpr bool ChildHasMemory = true;
#endif

/// The thread sanitizer takes the threads of a child for those of its parent.
bool isForChild(const Use& use) {
#if defined(__SANITIZE_THREAD__)
    return !use.startsThreads;
#else
    static_cast<void>(use);
    return true;
#endif
}

constexpr int Forks = Sanitized ? 8 : 25;

/// Runs with all uses, then with each alone.
class Fork : public testing::TestWithParam<std::span<const Use>> {
public:
    static std::vector<ParamType> allAndEach() {
        std::vector<ParamType> parts{allUses()};
        for (const Use& use : allUses())
            parts.emplace_back(&use, 1);
        return parts;
    }
};

TEST_P(Fork, ChildDoesWhatTheThreadsOfItsParentAreInTheMiddleOf) {
    if (!ChildHasMemory)
        GTEST_SKIP() << "the sanitizer's memory is locked in a child";
    const auto uses = GetParam();
    Inherited shared;
    std::atomic<bool> stop{false};
    std::vector<std::jthread> threads;
    for (size_t i = 0; i < 3; ++i) {
        threads.emplace_back([&, i] {
            for (size_t next = i * 5; !stop && !HasFailure(); ++next)
                EXPECT_NO_THROW(uses[next % uses.size()].inParent(shared));
        });
    }
    for (int i = 0; i < Forks && !HasFailure(); ++i) {
        EXPECT_EQ(statusOfChild([&] {
                      for (const Use& use : uses) {
                          if (isForChild(use))
                              use.inChild(shared);
                      }
                  }),
                  0);
    }
    stop = true;
}

INSTANTIATE_TEST_SUITE_P(Uses, Fork, testing::ValuesIn(Fork::allAndEach()), [](const auto& uses) {
    return std::string(uses.param.size() == 1 ? uses.param[0].name : "All");
});

} // namespace
