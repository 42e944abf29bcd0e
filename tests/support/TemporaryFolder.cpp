#include "tests/support/TemporaryFolder.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>
#include <sys/resource.h>

namespace qxtest {

TemporaryFolder::TemporaryFolder(const std::string& parent) {
    namespace fs = std::filesystem;
    const fs::path place = fs::exists(parent) ? fs::path(parent) : fs::temp_directory_path();
    m_path = (fs::canonical(place) / "qx-test-XXXXXX").string();
    if (::mkdtemp(m_path.data()) == nullptr)
        throw std::runtime_error("mkdtemp " + m_path);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

void withFileSizeLimit(size_t bytes, const std::function<void()>& body) {
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{bytes, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    body();
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
}

} // namespace qxtest
