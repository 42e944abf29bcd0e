#pragma once

#include <sched.h>

/// Keeps the calling thread on a CPU of its own, the one at place @p index of those it may use,
/// while there are so many.
class OnOwnCpu {
public:
    explicit OnOwnCpu(int index) {
        sched_getaffinity(0, sizeof m_usable, &m_usable);
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (!CPU_ISSET(cpu, &m_usable) || index-- > 0)
                continue;
            cpu_set_t own;
            CPU_ZERO(&own);
            CPU_SET(cpu, &own);
            sched_setaffinity(0, sizeof own, &own);
            return;
        }
    }
    ~OnOwnCpu() { sched_setaffinity(0, sizeof m_usable, &m_usable); }
    OnOwnCpu(const OnOwnCpu&) = delete;
    OnOwnCpu& operator=(const OnOwnCpu&) = delete;

private:
    cpu_set_t m_usable;
};
