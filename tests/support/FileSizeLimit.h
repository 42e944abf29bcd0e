#pragma once

#include <csignal>

#include <sys/resource.h>

namespace qxtest {

/// Lets no file of the process become larger, as on a full disk: writes fail where it would.
class FileSizeLimit {
public:
    explicit FileSizeLimit(size_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    void (*m_handler)(int);
    rlimit m_before{};
};

} // namespace qxtest
