// Several threads take jobs from one bounded queue: the longest word of each line of standard
// input.

#include <algorithm>
#include <deque>
#include <exception>
#include <iostream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <qx/core/String.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/Semaphore.h>

namespace {

/// Lines on their way from one thread to others. A producer waits while the queue is full, a
/// consumer while it is empty.
class LineQueue {
public:
    explicit LineQueue(uint32_t capacity) : m_room(capacity) {}

    void put(std::optional<qx::String> line) {
        m_room.wait();
        {
            const std::lock_guard lock(m_mutex);
            m_lines.push_back(std::move(line));
        }
        m_filled.signal();
    }

    /// The next line; none at the end.
    std::optional<qx::String> take() {
        m_filled.wait();
        std::optional<qx::String> line;
        {
            const std::lock_guard lock(m_mutex);
            line = std::move(m_lines.front());
            m_lines.pop_front();
        }
        m_room.signal();
        return line;
    }

private:
    qx::sync::Mutex m_mutex;
    qx::sync::Semaphore m_room;
    qx::sync::Semaphore m_filled;
    std::deque<std::optional<qx::String>> m_lines;
};

qx::String longestWord(const qx::String& line) {
    int32_t longestAt = 0, longest = 0;
    for (int32_t start = 0; start < line.getLength();) {
        int32_t end = line.indexOf(u' ', start);
        if (end < 0)
            end = line.getLength();
        if (end - start > longest) {
            longestAt = start;
            longest = end - start;
        }
        start = end + 1;
    }
    return line.substring(longestAt, longestAt + longest);
}

/// Threads that run one body; each is given an end of the queue, and waited for, when this goes.
class Workers {
public:
    explicit Workers(LineQueue& queue) : m_queue(queue) {}
    ~Workers() {
        for (size_t i = 0; i < m_threads.size(); ++i)
            m_queue.put(std::nullopt);
    }

    template <class Body>
    void start(Body body) {
        m_threads.emplace_back(std::move(body));
    }

private:
    LineQueue& m_queue;
    std::vector<std::jthread> m_threads;
};

} // namespace

int main() try {
    LineQueue queue(16);
    qx::sync::Mutex mutex;
    std::vector<qx::String> words;
    {
        Workers workers(queue);
        for (int i = 0; i < 4; ++i) {
            workers.start([&] {
                while (const auto line = queue.take()) {
                    qx::String word = longestWord(*line);
                    const std::lock_guard lock(mutex);
                    words.push_back(std::move(word));
                }
            });
        }
        for (std::string line; std::getline(std::cin, line);)
            queue.put(qx::String::fromUtf8(line));
    }

    std::ranges::sort(words, [](const qx::String& left, const qx::String& right) {
        return left.compare(right) < 0;
    });
    for (const auto& word : words)
        std::cout << word << '\n';
    return std::cout.flush() ? 0 : 1;
} catch (const std::exception& failure) {
    std::cerr << "WorkQueue: " << failure.what() << '\n';
    return 1;
}
