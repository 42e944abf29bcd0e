#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

#include <qx/ipc/Semaphore.h>
#include <qx/ipc/SharedMemory.h>
#include <qx/platform/shared.h>
#include <qx/sync/Mutex.h>

/// A job on the board. Its state is one word that is written last, so a job is never half done.
struct Job {
    enum State : uint32_t { None, Waiting, Taken, Done };

    std::atomic<State> state;
    uint32_t worker; ///< who has taken it
    uint64_t number;
    uint64_t result;
};

/// Where the supervisor and the workers meet: zeros in shared memory at first. Everything but
/// `stop` is changed under the lock of the pool.
struct Board {
    static constexpr uint32_t Places = 64;

    Job jobs[Places];
    uint32_t counts[Job::Done + 1]; ///< how many jobs are in a state: follows from the jobs
    uint32_t repairs;               ///< how often somebody was killed inside
    std::atomic<bool> stop;

    void change(Job& job, Job::State state) {
        --counts[job.state];
        job.state = state;
        ++counts[state];
    }

    bool isWhole() const {
        Board counted{};
        count(counted.counts);
        for (uint32_t state = 0; state <= Job::Done; ++state) {
            if (counted.counts[state] != counts[state])
                return false;
        }
        return true;
    }

    void repair() {
        for (uint32_t& each : counts)
            each = 0;
        count(counts);
        ++repairs;
    }

    Job* find(Job::State state) {
        for (Job& job : jobs) {
            if (counts[state] != 0 && job.state == state)
                return &job;
        }
        return nullptr;
    }

private:
    void count(uint32_t (&into)[Job::Done + 1]) const {
        for (const Job& job : jobs)
            ++into[job.state];
    }
};

/// What all processes of a pool have in common, by the name of the pool.
struct Pool {
    explicit Pool(const std::string& name)
        : lock((name + " lock").c_str(), 1), ready((name + " ready").c_str(), 0),
          finished((name + " finished").c_str(), 0),
          supervisor((name + " supervisor").c_str(), QX_SYNC_SHARED),
          memory((name + " board").c_str(), sizeof(Board), QX_SHAREDMEM_CREATE, 0),
          board(*static_cast<Board*>(memory.get())) {}

    qx::ipc::Semaphore lock;     ///< of the board
    qx::ipc::Semaphore ready;    ///< a signal for each job that waits, and some more
    qx::ipc::Semaphore finished; ///< a signal for each job that is done
    qx::sync::Mutex supervisor;  ///< held by the supervisor as long as it lives
    qx::ipc::SharedMemory memory;
    Board& board;
};

/// Holds the board for a scope. Where the one before was killed inside, it is put right first.
class Turn {
public:
    explicit Turn(Pool& pool) : m_hold(pool.lock) {
        if (pool.lock.acquiredFromDead()) {
            pool.board.repair();
        } else if (!pool.board.isWhole()) {
            std::fputs("JobPool: damage that nobody was told of\n", stderr);
            std::_Exit(3);
        }
    }

private:
    const std::lock_guard<qx::ipc::Semaphore> m_hold;
};
