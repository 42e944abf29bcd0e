#include <pthread.h>
#include <unistd.h>

#include <qx/platform/native.h>

namespace {

thread_local uint32_t t_number = 0;

/// The only thread of a forked child has inherited the number of the one that forked.
void forgetAfterFork() { t_number = 0; }

} // namespace

uint32_t QXThreadCurrentId() {
    if (t_number == 0) {
        [[maybe_unused]] static const int registered =
            pthread_atfork(nullptr, nullptr, &forgetAfterFork);
        t_number = static_cast<uint32_t>(gettid());
    }
    return t_number;
}
