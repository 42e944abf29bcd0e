#pragma once

#include <cstdint>

/// A line on the terminal that tells how much input was read, once that is known to be long.
/// Nothing is shown when standard error is no terminal.
class Progress {
public:
    Progress();
    /// Removes the line.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Announces input of known size; input of unknown size is simply not announced.
    void expect(int64_t bytes) { m_expected += bytes; }
    /// To be called for input that was read.
    void advance(int64_t bytes) {
        m_done += bytes;
        if (m_done >= m_next)
            show();
    }

private:
    void show();

    bool m_isTerminal;
    bool m_isShown = false;
    int64_t m_expected = 0;
    int64_t m_done = 0;
    int64_t m_next;
};
