// A pool of worker processes that loses no job while its workers are killed at random.
//
//   JobPool JOBS WORKERS KILLS_A_SECOND (at most, and at least five jobs apart)
//
// The supervisor puts jobs on a board in shared memory, the workers take them from there. A worker
// that is killed gives the lock of the board back, wherever it was; the next holder is told and
// puts the board right; the supervisor gives the job of the dead one to others and starts another
// worker. Ends with status 1 when a job is missing, was done twice, or has a wrong result.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <qx/core/String.h>
#include <qx/exec/Process.h>
#include <qx/exec/ProcessBuilder.h>

#include "Board.h"

using qx::exec::Process;
using qx::exec::ProcessBuilder;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// A job: how many steps that all numbers of a range take to 1, each being halved or tripled plus
/// one.
uint64_t perform(uint64_t job) {
    uint64_t steps = 0;
    for (uint64_t start = job * 500 + 1; start <= (job + 1) * 500; ++start) {
        for (uint64_t number = start; number != 1; ++steps)
            number = number % 2 == 0 ? number / 2 : 3 * number + 1;
    }
    return steps;
}

void work(Pool& pool, uint32_t self) {
    while (!pool.board.stop) {
        if (!pool.ready.waitFor(200ms) && pool.supervisor.tryWait())
            return; // the supervisor is dead
        Job* job = nullptr;
        {
            const Turn turn(pool);
            job = pool.board.find(Job::Waiting);
            if (job == nullptr)
                continue;
            job->worker = self;
            pool.board.change(*job, Job::Taken);
        }
        const uint64_t result = perform(job->number);
        {
            const Turn turn(pool);
            job->result = result;
            pool.board.change(*job, Job::Done);
        }
        pool.finished.signal();
    }
}

class Supervisor {
public:
    Supervisor(std::string program, std::string name, uint64_t jobs, uint32_t workers)
        : m_program(std::move(program)), m_name(std::move(name)), m_pool(m_name),
          m_results(jobs, 0), m_left(jobs), m_workers(workers) {
        if (!m_pool.supervisor.tryWait())
            throw std::runtime_error("the pool has a supervisor already");
        const std::lock_guard hold(m_pool.lock);
        m_pool.board.repair(); // counts what is free
        m_pool.board.repairs = 0;
    }

    ~Supervisor() {
        for (const auto& worker : m_workers) {
            if (worker)
                worker->kill();
        }
    }

    void run(double killsASecond) {
        const auto interval = std::chrono::duration<double>(1 / std::max(killsASecond, 1e-9));
        auto nextKill = Clock::now() + interval;
        uint64_t leftAtLastKill = m_left;
        for (uint32_t number = 0; number < m_workers.size(); ++number)
            start(number);
        while (m_left > 0) {
            fillAndCollect();
            // A worker may have been killed before it told.
            static_cast<void>(m_pool.finished.waitFor(5ms));
            if (Clock::now() >= nextKill && m_left + JobsBetweenKills <= leftAtLastKill) {
                m_workers[m_random() % m_workers.size()]->kill();
                nextKill += interval;
                leftAtLastKill = m_left;
            }
            replaceTheDead();
        }
        m_pool.board.stop = true;
        for (const auto& worker : m_workers) {
            while (!worker->waitFor(10ms))
                m_pool.ready.signal();
        }
    }

    /// Does all jobs again, to compare.
    void check() const {
        for (uint64_t number = 0; number < m_results.size(); ++number) {
            if (m_results[number] != perform(number))
                throw std::runtime_error("a job has a wrong result");
        }
    }

    uint32_t killed() const { return m_killed; }
    uint32_t repairs() const { return m_pool.board.repairs; }

private:
    /// Where processes start more slowly than they are killed, nothing would ever be done.
    static constexpr uint64_t JobsBetweenKills = 5;

    void start(uint32_t number) {
        m_workers[number] =
            ProcessBuilder(m_program, {"worker", m_name, std::to_string(number)}).start();
    }

    /// Takes what is done off the board, and puts new jobs there.
    void fillAndCollect() {
        const Turn turn(m_pool);
        while (Job* const job = m_pool.board.find(Job::Done)) {
            if (std::exchange(m_results.at(job->number), job->result) != 0)
                throw std::runtime_error("a job was done twice");
            --m_left;
            m_pool.board.change(*job, Job::None);
        }
        while (m_next < m_results.size()) {
            Job* const job = m_pool.board.find(Job::None);
            if (job == nullptr)
                return;
            job->number = m_next++;
            m_pool.board.change(*job, Job::Waiting);
            m_pool.ready.signal();
        }
    }

    void replaceTheDead() {
        for (uint32_t number = 0; number < m_workers.size(); ++number) {
            if (!m_workers[number]->tryJoin())
                continue;
            if (m_workers[number]->getExitCode() != -9)
                throw std::runtime_error("a worker failed");
            ++m_killed;
            const Turn turn(m_pool);
            for (Job& job : m_pool.board.jobs) {
                if (job.state == Job::Taken && job.worker == number)
                    m_pool.board.change(job, Job::Waiting);
            }
            m_pool.ready.signal(); // for that job, or for one whose signal died with the worker
            start(number);
        }
    }

    const std::string m_program, m_name;
    Pool m_pool;
    std::vector<uint64_t> m_results; // 0: not yet known
    uint64_t m_left;
    uint64_t m_next = 0;
    std::vector<qx::Reference<Process>> m_workers;
    uint32_t m_killed = 0;
    std::minstd_rand m_random{2};
};

constexpr char Usage[] = "usage: JobPool JOBS WORKERS KILLS_A_SECOND\n"
                         "  JOBS  1 to 1000000, WORKERS  1 to 500, KILLS_A_SECOND  0 to 1000\n";

/// A number, or -1 when it is none between the two.
template <class Number>
Number numberOf(std::optional<Number> number, Number least, Number most) {
    // Of "nan" no comparison is true.
    return number && *number >= least && *number <= most ? *number : -1;
}

} // namespace

int main(int argc, char** argv) try {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 3 && arguments[0] == "worker") {
        Pool pool(arguments[1]);
        work(pool, static_cast<uint32_t>(std::stoul(arguments[2])));
        return 0;
    }
    const int jobs =
        arguments.size() == 3 ? numberOf(qx::String(arguments[0]).toInt(), 1, 1'000'000) : -1;
    const int workers = jobs > 0 ? numberOf(qx::String(arguments[1]).toInt(), 1, 500) : -1;
    const double killsASecond =
        workers > 0 ? numberOf(qx::String(arguments[2]).toDouble(), 0.0, 1000.0) : -1;
    if (killsASecond < 0) {
        std::fputs(Usage, stderr);
        return 2;
    }
    const auto begin = Clock::now();
    Supervisor supervisor(argv[0], "pool of " + std::to_string(Process::getCurrentID()),
                          static_cast<uint64_t>(jobs), static_cast<uint32_t>(workers));
    supervisor.run(killsASecond);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    supervisor.check();
    std::printf("%d jobs in %.2f s, %.0f a second; %u workers were killed, %u of them inside\n",
                jobs, seconds, jobs / seconds, supervisor.killed(), supervisor.repairs());
    return std::fflush(stdout) == 0 && !std::ferror(stdout) ? 0 : 1;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "JobPool: %s\n", failure.what());
    return 1;
}
